#include "sdk/qt/QtHttpNetworkService.h"

#include <QCoreApplication>
#include <QMutexLocker>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QSslError>
#include <QThread>

#include "sdk/qt/HttpBodyDevice.h"
#include "sdk/qt/TransportErrors.h"
#include "sdk/qt/detail/CookiePolicy.h"
#include "sdk/qt/detail/CredentialPolicy.h"
#include "sdk/qt/detail/ExchangeLog.h"
#include "sdk/qt/detail/TimeLimits.h"
#include "sdk/qt/detail/RedirectPolicy.h"
#include "sdk/qt/detail/ReplySizeLimit.h"

namespace QuorvelSdk {
namespace {

// Releases the sender on every way out of a scope, exceptions included.
class ReleaseOnExit
{
public:
    explicit ReleaseOnExit(QSemaphore& done) : m_done(done) {}
    ~ReleaseOnExit() { m_done.release(); }
    ReleaseOnExit(const ReleaseOnExit&) = delete;
    ReleaseOnExit& operator=(const ReleaseOnExit&) = delete;

private:
    QSemaphore& m_done;
};

} // namespace

QtHttpNetworkService::QtHttpNetworkService(QObject* parent)
    : QObject(parent)
    , m_thread(new QThread(this))
    , worker(new Worker)
{
    worker->moveToThread(m_thread);
    connect(m_thread, &QThread::finished, worker, &QObject::deleteLater);
    m_thread->setObjectName(QStringLiteral("QuorvelSdk-Net"));
    m_thread->start(QThread::InheritPriority);
}

QtHttpNetworkService::~QtHttpNetworkService()
{
    shutdown();
    m_thread->quit();
    // The worker and its manager are deleted on the thread as it finishes.
    m_thread->wait();
}

void QtHttpNetworkService::shutdown()
{
    {
        QMutexLocker locker(&mutex);
        if (shutting_down)
            return;
        shutting_down = true;
    }
    if (worker != nullptr && m_thread->isRunning()) {
        Worker* w = worker;
        QMetaObject::invokeMethod(
            worker, [w] { w->shutdown(); }, Qt::BlockingQueuedConnection);
    }
}

void QtHttpNetworkService::abortCancelled()
{
    Worker* w = worker;
    QMetaObject::invokeMethod(
        worker, [w] { w->abortCancelled(); }, Qt::QueuedConnection);
}

void QtHttpNetworkService::setLimits(const HttpLimits& limits)
{
    QMutexLocker locker(&mutex);
    m_limits = limits;
}

qint32 QtHttpNetworkService::execute(PendingHttpRequest& pending)
{
    {
        QMutexLocker locker(&mutex);
        if (shutting_down || pending.isCancelled()) {
            pending.result = TransportError::Cancelled;
            return pending.result;
        }
        pending.limits = m_limits;
        // Posted under the lock, so a shutdown cannot slip in between the
        // check and the post and leave this sender waiting for nothing.
        Worker* w = worker;
        PendingHttpRequest* p = &pending;
        QMetaObject::invokeMethod(
            worker, [w, p] { w->perform(p); }, Qt::QueuedConnection);
    }
    pending.done.acquire();
    return pending.result;
}

QtHttpNetworkService::Worker::Worker()
    : timeLimits(std::make_unique<detail::TimeLimits>(
        this, active_replies,
        [this](QNetworkReply* reply, qint32 error, const QString& why) { giveUp(reply, error, why); }))
{
}

QtHttpNetworkService::Worker::~Worker() = default;

void QtHttpNetworkService::Worker::perform(PendingHttpRequest* pending)
{
    pending->timer.start();
    // Cancelled between the post and now: the abort has already been by.
    if (pending->isCancelled()) {
        pending->result = TransportError::Cancelled;
        pending->done.release();
        return;
    }
    if (detail::exposesCredentials(pending->url, pending->headers)) {
        detail::warn(*pending, QStringLiteral("a bearer token goes over plain http to this machine only; the "
                                              "request was not sent;"));
        pending->result = TransportError::PlainTextCredentials;
        pending->done.release();
        return;
    }
    if (manager == nullptr)
        manager = new QNetworkAccessManager(this);

    QNetworkRequest request(pending->url);
    // Every redirect is looked at before it is followed (RedirectPolicy).
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                         pending->disable_redirects ? QNetworkRequest::ManualRedirectPolicy
                                                    : QNetworkRequest::UserVerifiedRedirectPolicy);
    detail::keepCookiesOut(request);
    for (const auto& [name, value] : pending->headers) {
        if (!name.isEmpty())
            request.setRawHeader(name, value);
    }
    // Only a length the body announced: of one it did not, Qt takes the whole
    // body first and says how long it was.
    if (pending->content_length > 0 && !request.hasRawHeader("Content-Length"))
        request.setHeader(QNetworkRequest::ContentLengthHeader, pending->content_length);

    HttpBodyDevice* device = pending->body != nullptr && pending->content_length != 0
                                 ? new HttpBodyDevice(pending->body, pending->content_length)
                                 : nullptr;
    QNetworkReply* reply = manager->sendCustomRequest(request, pending->verb, device);
    if (reply == nullptr) {
        detail::warn(*pending, QStringLiteral("sendCustomRequest returned null for"));
        delete device;
        pending->result = TransportError::NoReply;
        pending->done.release();
        return;
    }
    active_replies.insert(reply, pending);
    watch(reply, device, pending);
}

template <typename Signal, typename Handler>
void QtHttpNetworkService::Worker::onSignal(QNetworkReply* reply, Signal signal, Handler handler)
{
    connect(reply, signal, this, [this, reply, handler](const auto&... arguments) {
        // An aborted reply may still emit what Qt's HTTP thread had queued
        // for it (its headers, a redirect) before it is deleted. Its exchange
        // has ended by then, and the exchange's `pending`, on the sender's
        // stack, may be gone.
        PendingHttpRequest* pending = active_replies.value(reply);
        if (pending == nullptr)
            return;
        // Every sign of life counts as progress for the inactivity limit.
        timeLimits->moved(*pending);
        handler(pending, arguments...);
    });
}

void QtHttpNetworkService::Worker::watch(QNetworkReply* reply, HttpBodyDevice* device,
                                         PendingHttpRequest* pending)
{
    if (device != nullptr) {
        // The device lives as long as the reply.
        device->setParent(reply);
        // Ended from the event loop, not from inside Qt's read of the body.
        device->setFailureHandler([this, reply] {
            QMetaObject::invokeMethod(
                this, [this, reply] { giveUp(reply, TransportError::BodyRefused, QString()); },
                Qt::QueuedConnection);
        });
    }
    onSignal(reply, &QNetworkReply::finished,
             [this, reply, device](PendingHttpRequest* p) { finishRequest(reply, device, p); });
    // The body is taken as it comes, so that a reply is stopped as soon as it
    // passes the limit rather than after it has been read whole.
    onSignal(reply, &QNetworkReply::metaDataChanged, [this, reply](PendingHttpRequest* p) {
        if (const QString why = detail::refusalOfAnnounced(*reply, *p); !why.isEmpty())
            giveUp(reply, TransportError::ReplyTooLarge, why);
    });
    onSignal(reply, &QNetworkReply::readyRead, [this, reply](PendingHttpRequest* p) {
        if (p->given_up == 0 && !detail::takeArrived(*reply, *p))
            giveUp(reply, TransportError::ReplyTooLarge, detail::overLimit(p->limits.maxReplyBytes));
    });
    onSignal(reply, &QNetworkReply::uploadProgress, [](PendingHttpRequest*, qint64, qint64) {});
    // Never ignored: Qt ends the handshake, and the exchange fails. The log
    // says why.
    onSignal(reply, &QNetworkReply::sslErrors, [](PendingHttpRequest* p, const QList<QSslError>& errors) {
        QStringList reasons;
        for (const QSslError& error : errors)
            reasons << error.errorString();
        detail::warn(*p, QStringLiteral("certificate refused: %1;").arg(reasons.join(QStringLiteral("; "))));
    });
    onSignal(reply, &QNetworkReply::redirected, [this, reply](PendingHttpRequest* p, const QUrl& target) {
        const QUrl next = p->url.resolved(target);
        const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
        const char* refusal = detail::redirectRefusal(p->url, next, status, p->verb);
        if (refusal == nullptr) {
            Q_EMIT reply->redirectAllowed();
            return;
        }
        giveUp(reply, TransportError::RedirectRefused,
               QStringLiteral("redirect %1 refused (status %2, to %3);")
                   .arg(QLatin1String(refusal))
                   .arg(status)
                   .arg(detail::loggedUrl(next)));
    });
    detail::limitReadAhead(reply);
    timeLimits->begin(*pending);
}

void QtHttpNetworkService::Worker::giveUp(QNetworkReply* reply, qint32 error, const QString& why)
{
    PendingHttpRequest* pending = active_replies.value(reply);
    if (pending == nullptr || pending->given_up != 0)
        return;
    if (!why.isEmpty())
        detail::warn(*pending, why);
    pending->given_up = error;
    // Emits finished() at once, which ends the exchange in finishRequest.
    reply->abort();
}

void QtHttpNetworkService::Worker::finishRequest(QNetworkReply* reply, HttpBodyDevice* device,
                                                 PendingHttpRequest* pending)
{
    ReleaseOnExit release(pending->done);
    // Written last, before the sender is released (destructors run in
    // reverse order): `pending` is the sender's, and goes with it.
    struct TraceOnExit
    {
        const PendingHttpRequest& pending;
        const int& status;
        ~TraceOnExit() { detail::trace(pending, status); }
    };

    const QNetworkReply::NetworkError error = reply->error();
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    const TraceOnExit traced{*pending, status};
    tarsion::http_response& response = *pending->response;
    response.status = static_cast<std::uint32_t>(status);
    tarsion::http::header_list headers;
    for (const auto& [name, value] : reply->rawHeaderPairs())
        headers.append(name.toStdString(), value.toStdString());
    response.headers = std::move(headers);
    if (pending->given_up == 0 && !detail::takeRest(*reply, *pending)) {
        detail::warn(*pending, detail::overLimit(pending->limits.maxReplyBytes));
        pending->given_up = TransportError::ReplyTooLarge;
    }
    // The sender may destroy its body as soon as it wakes.
    if (device != nullptr) {
        device->detach();
        if (const QString why = detail::bodyFailure(device->failure()); !why.isEmpty()) {
            detail::warn(*pending, why);
            pending->given_up = TransportError::BodyRefused;
        }
    }
    // From here on the reply's late signals find no exchange (onSignal).
    active_replies.remove(reply);
    reply->deleteLater();

    if (pending->given_up != 0) {
        // Whatever arrived is not a reply: the sender sees a transport
        // failure and none of it, and the memory goes now.
        response = tarsion::http_response();
        pending->result = pending->given_up;
    } else if (error != QNetworkReply::NoError && status == 0) {
        detail::warn(*pending, QStringLiteral("transport error ") + detail::errorName(error));
        pending->result = error;
    } else {
        pending->result = 0;
    }
}

void QtHttpNetworkService::Worker::shutdown()
{
    const QList<QNetworkReply*> replies = active_replies.keys();
    // A cancellation, not a transport error: nothing is logged for it.
    for (QNetworkReply* reply : replies)
        giveUp(reply, TransportError::Cancelled, QString());
    while (!active_replies.isEmpty())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

void QtHttpNetworkService::Worker::abortCancelled()
{
    const QHash<QNetworkReply*, PendingHttpRequest*> snapshot = active_replies;
    for (auto it = snapshot.cbegin(); it != snapshot.cend(); ++it) {
        if (it.value()->isCancelled())
            giveUp(it.key(), TransportError::Cancelled, QString());
    }
}

} // namespace QuorvelSdk
