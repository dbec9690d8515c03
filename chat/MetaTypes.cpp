#include "chat/MetaTypes.h"

namespace QuorvelChat {

void registerMetaTypes()
{
    qRegisterMetaType<ChatKind>();
    qRegisterMetaType<ErrorKind>();
    qRegisterMetaType<Error>();
    qRegisterMetaType<Unit>();
    qRegisterMetaType<Chat>();
    qRegisterMetaType<Message>();
    qRegisterMetaType<MessagesPage>();
    qRegisterMetaType<Attachment>();
    qRegisterMetaType<Draft>();
    qRegisterMetaType<ListMessagesRequest>();
    qRegisterMetaType<MessageDraftRequest>();
    qRegisterMetaType<AttachmentUploadRequest>();
    qRegisterMetaType<AttachmentDownloadRequest>();
    qRegisterMetaType<DraftSaveRequest>();
    qRegisterMetaType<Result<Chat>>();
    qRegisterMetaType<Result<MessagesPage>>();
    qRegisterMetaType<Result<Message>>();
    qRegisterMetaType<Result<Unit>>();
    qRegisterMetaType<Result<Attachment>>();
    qRegisterMetaType<Result<Draft>>();
}

} // namespace QuorvelChat
