#include "chat/QuorvelBackendAdapter.h"

#include <exception>

#include <QThreadPool>
#include <QtConcurrent/QtConcurrentRun>

#include <qtHelpers/Logger.h>

#include "sdk/core/tenant.h"
#include "sdk/qt/ExchangeCancellation.h"

namespace QuorvelChat {
namespace {

// A failure inside a task, such as memory running out while a huge reply is
// read, becomes the task's result: thrown out of the task it would reach
// whoever reads the future, and end the host.
Result<Chat> failedInside(const char* what)
{
    qtHelpers::logger(QtWarningMsg, qtHelpers::chat()).noquote()
        << "QuorvelBackendAdapter: resolveChat failed:" << what;
    return Error{ErrorKind::Unknown,
                 QStringLiteral("The duty channel could not be resolved: %1").arg(QLatin1String(what)), -1};
}

} // namespace

QuorvelBackendAdapter::QuorvelBackendAdapter(std::shared_ptr<tarsion::tenant> sdkTenant, quint32 kind,
                                             std::unique_ptr<IChatResolver> chatResolver,
                                             qint32 maxThreadCount,
                                             std::shared_ptr<QuorvelSdk::ExchangeCancellation> cancellation)
    : tenant(std::move(sdkTenant))
    , principalKind(kind)
    , resolver(std::move(chatResolver))
    , chainCancellation(std::move(cancellation))
    , pool(std::make_unique<QThreadPool>())
{
    pool->setMaxThreadCount(maxThreadCount);
    pool->setExpiryTimeout(-1);
    pool->setObjectName(QStringLiteral("QuorvelChat-Adapter"));
}

QuorvelBackendAdapter::~QuorvelBackendAdapter()
{
    pool.reset();
}

QFuture<Result<Chat>> QuorvelBackendAdapter::resolveChat()
{
    IChatResolver* r = resolver.get();
    if (latestResolution)
        latestResolution->cancel();
    latestResolution = chainCancellation ? chainCancellation->child() : nullptr;
    return QtConcurrent::run(pool.get(), [r, own = latestResolution]() -> Result<Chat> {
        const QuorvelSdk::ExchangeCancellation::Scope scope(own.get());
        if (r == nullptr)
            return Error{
                ErrorKind::Validation,
                QStringLiteral("QuorvelBackendAdapter::resolveChat \u2014 no IChatResolver installed"), -1};
        try {
            return r->resolve();
        } catch (const std::exception& e) {
            return failedInside(e.what());
        } catch (...) {
            return failedInside("unknown exception");
        }
    });
}

template <class T, class Argument>
QFuture<Result<T>> QuorvelBackendAdapter::notBuilt(const char* operation, const Argument& argument)
{
    // The argument is copied into the task like any built operation would
    // need it; the caller's object may go at once.
    const QString name = QString::fromLatin1(operation);
    return QtConcurrent::run(pool.get(), [name, argument]() -> Result<T> {
        Q_UNUSED(argument);
        return notImplemented(name);
    });
}

QFuture<Result<MessagesPage>> QuorvelBackendAdapter::listMessages(const ListMessagesRequest& request)
{
    return notBuilt<MessagesPage>("listMessages", request);
}

QFuture<Result<Message>> QuorvelBackendAdapter::postMessage(const MessageDraftRequest& request)
{
    return notBuilt<Message>("postMessage", request);
}

QFuture<Result<Message>> QuorvelBackendAdapter::patchMessage(const Message& message)
{
    return notBuilt<Message>("patchMessage", message);
}

QFuture<Result<Unit>> QuorvelBackendAdapter::deleteMessage(const QUuid& messageId)
{
    return notBuilt<Unit>("deleteMessage", messageId);
}

QFuture<Result<Attachment>> QuorvelBackendAdapter::uploadAttachment(const AttachmentUploadRequest& request)
{
    return notBuilt<Attachment>("uploadAttachment", request);
}

QFuture<Result<Attachment>>
QuorvelBackendAdapter::downloadAttachment(const AttachmentDownloadRequest& request)
{
    return notBuilt<Attachment>("downloadAttachment", request);
}

QFuture<Result<Draft>> QuorvelBackendAdapter::saveDraft(const DraftSaveRequest& request)
{
    return notBuilt<Draft>("saveDraft", request);
}

} // namespace QuorvelChat
