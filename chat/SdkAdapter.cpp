#include "chat/SdkAdapter.h"

namespace QuorvelChat {

SdkAdapter::SdkAdapter(std::unique_ptr<IChatBackend> chatBackend, QObject* parent)
    : QObject(parent)
    , backend(std::move(chatBackend))
{
}

SdkAdapter::~SdkAdapter() = default;

void SdkAdapter::setCanceller(std::function<void()> cancel)
{
    canceller = std::move(cancel);
}

void SdkAdapter::cancel()
{
    if (canceller)
        canceller();
}

QFuture<Result<Chat>> SdkAdapter::resolveChat()
{
    return backend->resolveChat();
}

QFuture<Result<MessagesPage>> SdkAdapter::listMessages(const ListMessagesRequest& request)
{
    return backend->listMessages(request);
}

QFuture<Result<Message>> SdkAdapter::postMessage(const MessageDraftRequest& request)
{
    return backend->postMessage(request);
}

QFuture<Result<Message>> SdkAdapter::patchMessage(const Message& message)
{
    return backend->patchMessage(message);
}

QFuture<Result<Unit>> SdkAdapter::deleteMessage(const QUuid& messageId)
{
    return backend->deleteMessage(messageId);
}

QFuture<Result<Attachment>> SdkAdapter::uploadAttachment(const AttachmentUploadRequest& request)
{
    return backend->uploadAttachment(request);
}

QFuture<Result<Attachment>> SdkAdapter::downloadAttachment(const AttachmentDownloadRequest& request)
{
    return backend->downloadAttachment(request);
}

QFuture<Result<Draft>> SdkAdapter::saveDraft(const DraftSaveRequest& request)
{
    return backend->saveDraft(request);
}

} // namespace QuorvelChat
