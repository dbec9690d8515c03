#pragma once

#include <QFuture>
#include <QObject>

#include "chat/ChatRequests.h"
#include "chat/ChatTypes.h"
#include "chat/Result.h"

namespace QuorvelChat {

// The one interface through which the user interface asks for chat data.
// Every operation returns at once; the work runs on a worker thread and the
// future carries its result.
class IChatBackend
{
public:
    virtual ~IChatBackend() = default;

    virtual QFuture<Result<Chat>> resolveChat() = 0;
    virtual QFuture<Result<MessagesPage>> listMessages(const ListMessagesRequest& request) = 0;
    virtual QFuture<Result<Message>> postMessage(const MessageDraftRequest& request) = 0;
    virtual QFuture<Result<Message>> patchMessage(const Message& message) = 0;
    virtual QFuture<Result<Unit>> deleteMessage(const QUuid& messageId) = 0;
    virtual QFuture<Result<Attachment>> uploadAttachment(const AttachmentUploadRequest& request) = 0;
    virtual QFuture<Result<Attachment>> downloadAttachment(const AttachmentDownloadRequest& request) = 0;
    virtual QFuture<Result<Draft>> saveDraft(const DraftSaveRequest& request) = 0;
};

} // namespace QuorvelChat

Q_DECLARE_INTERFACE(QuorvelChat::IChatBackend, "IChatBackend")
