#pragma once

#include <functional>
#include <memory>

#include <QObject>

#include "chat/IChatBackend.h"

namespace QuorvelChat {

// The QObject face of an assembled back end: forwards every operation to the
// back end it owns. Castable by the interface id "IChatBackend".
class SdkAdapter : public QObject, public IChatBackend
{
    Q_OBJECT
    Q_INTERFACES(QuorvelChat::IChatBackend)

public:
    explicit SdkAdapter(std::unique_ptr<IChatBackend> backend, QObject* parent = nullptr);
    ~SdkAdapter() override;

    // How to end what the back end's operations are waiting for, so that
    // they finish at once (with errors) when the adapter is retired.
    void setCanceller(std::function<void()> cancel);
    // Any thread; does nothing without a canceller.
    void cancel();

    QFuture<Result<Chat>> resolveChat() override;
    QFuture<Result<MessagesPage>> listMessages(const ListMessagesRequest& request) override;
    QFuture<Result<Message>> postMessage(const MessageDraftRequest& request) override;
    QFuture<Result<Message>> patchMessage(const Message& message) override;
    QFuture<Result<Unit>> deleteMessage(const QUuid& messageId) override;
    QFuture<Result<Attachment>> uploadAttachment(const AttachmentUploadRequest& request) override;
    QFuture<Result<Attachment>> downloadAttachment(const AttachmentDownloadRequest& request) override;
    QFuture<Result<Draft>> saveDraft(const DraftSaveRequest& request) override;

private:
    std::unique_ptr<IChatBackend> backend;
    std::function<void()> canceller;
};

} // namespace QuorvelChat
