#pragma once

#include <memory>

#include "chat/IChatBackend.h"
#include "chat/IChatResolver.h"

class QThreadPool;

namespace tarsion {
class tenant;
}
namespace QuorvelSdk {
class ExchangeCancellation;
}

namespace QuorvelChat {

// The chat back end over the entity service. Each operation copies its
// argument into a task on the adapter's own pool ("QuorvelChat-Adapter",
// threads never retired) and returns that task's future. Only resolveChat is
// built; it goes through the installed resolver.
class QuorvelBackendAdapter final : public IChatBackend
{
public:
    // `cancellation`, when given, is the chain's: each resolution gets one of
    // its own beneath it, and a new resolution cancels the one before.
    QuorvelBackendAdapter(std::shared_ptr<tarsion::tenant> tenant, quint32 principalKind,
                          std::unique_ptr<IChatResolver> resolver, qint32 maxThreadCount,
                          std::shared_ptr<QuorvelSdk::ExchangeCancellation> cancellation = {});
    // Waits for every queued and running task before the resolver and the
    // tenant they use go.
    ~QuorvelBackendAdapter() override;

    QFuture<Result<Chat>> resolveChat() override;
    QFuture<Result<MessagesPage>> listMessages(const ListMessagesRequest& request) override;
    QFuture<Result<Message>> postMessage(const MessageDraftRequest& request) override;
    QFuture<Result<Message>> patchMessage(const Message& message) override;
    QFuture<Result<Unit>> deleteMessage(const QUuid& messageId) override;
    QFuture<Result<Attachment>> uploadAttachment(const AttachmentUploadRequest& request) override;
    QFuture<Result<Attachment>> downloadAttachment(const AttachmentDownloadRequest& request) override;
    QFuture<Result<Draft>> saveDraft(const DraftSaveRequest& request) override;

    QThreadPool* threadPool() const { return pool.get(); }

private:
    template <class T, class Argument>
    QFuture<Result<T>> notBuilt(const char* operation, const Argument& argument);

    std::shared_ptr<tarsion::tenant> tenant;
    quint32 principalKind;
    std::unique_ptr<IChatResolver> resolver;
    std::shared_ptr<QuorvelSdk::ExchangeCancellation> chainCancellation;
    // The latest resolution's, cancelled when a newer one starts: only the
    // latest is ever shown, and an earlier one must not keep a thread.
    std::shared_ptr<QuorvelSdk::ExchangeCancellation> latestResolution;
    // Declared last so that it is destroyed, and drained, first.
    std::unique_ptr<QThreadPool> pool;
};

} // namespace QuorvelChat
