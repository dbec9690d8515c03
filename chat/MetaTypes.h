#pragma once

#include <QMetaType>

#include "chat/ChatRequests.h"
#include "chat/ChatTypes.h"
#include "chat/Result.h"

// So that every chat value can travel in futures and queued signals.
Q_DECLARE_METATYPE(QuorvelChat::ChatKind)
Q_DECLARE_METATYPE(QuorvelChat::ErrorKind)
Q_DECLARE_METATYPE(QuorvelChat::Error)
Q_DECLARE_METATYPE(QuorvelChat::Unit)
Q_DECLARE_METATYPE(QuorvelChat::Chat)
Q_DECLARE_METATYPE(QuorvelChat::Message)
Q_DECLARE_METATYPE(QuorvelChat::MessagesPage)
Q_DECLARE_METATYPE(QuorvelChat::Attachment)
Q_DECLARE_METATYPE(QuorvelChat::Draft)
Q_DECLARE_METATYPE(QuorvelChat::ListMessagesRequest)
Q_DECLARE_METATYPE(QuorvelChat::MessageDraftRequest)
Q_DECLARE_METATYPE(QuorvelChat::AttachmentUploadRequest)
Q_DECLARE_METATYPE(QuorvelChat::AttachmentDownloadRequest)
Q_DECLARE_METATYPE(QuorvelChat::DraftSaveRequest)
Q_DECLARE_METATYPE(QuorvelChat::Result<QuorvelChat::Chat>)
Q_DECLARE_METATYPE(QuorvelChat::Result<QuorvelChat::MessagesPage>)
Q_DECLARE_METATYPE(QuorvelChat::Result<QuorvelChat::Message>)
Q_DECLARE_METATYPE(QuorvelChat::Result<QuorvelChat::Unit>)
Q_DECLARE_METATYPE(QuorvelChat::Result<QuorvelChat::Attachment>)
Q_DECLARE_METATYPE(QuorvelChat::Result<QuorvelChat::Draft>)

namespace QuorvelChat {

// Registers every chat value type by name; safe to call any number of times.
void registerMetaTypes();

} // namespace QuorvelChat
