#include "sdk/qt/QtHttpNetworkService.h"

#include <algorithm>
#include <string>

#include <QCoreApplication>
#include <QMetaEnum>
#include <QMutexLocker>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QThread>
#include <QTimer>

#include <qtHelpers/Logger.h>

#include "sdk/qt/HttpBodyDevice.h"

namespace QuorvelSdk {
namespace {

// Qt's numbers for the failures this layer produces itself.
constexpr qint32 kOperationCanceled = QNetworkReply::OperationCanceledError;
constexpr qint32 kUnknownProtocol = QNetworkReply::ProtocolUnknownError;
constexpr qint32 kStalled = QNetworkReply::TimeoutError;
// Qt has no number for "too large"; this one says the content was at fault.
constexpr qint32 kTooLarge = QNetworkReply::UnknownContentError;
// A request body that could not be read, or not to its announced length:
// Qt's number for upload data it could not read.
constexpr qint32 kBodyRefused = QNetworkReply::ContentReSendError;

// How far Qt's HTTP thread may read a reply ahead of this thread: enough
// to keep a fast connection busy, small beside any reply size limit.
constexpr qint64 kReadBufferBytes = 1024 * 1024;
// Each read of a reply under a read-ahead hands the freed space back to
// Qt's HTTP thread: one cross-thread post, and a wake-up there. A reply is
// therefore read as it comes only once half the read-ahead waits, or once
// it has passed its size limit; the rest is taken when it has finished.
constexpr qint64 kReadEagerlyFrom = kReadBufferBytes / 2;

// Qt's number for a redirect it will not follow.
constexpr qint32 kRedirectRefused = QNetworkReply::InsecureRedirectError;

// Scheme, host and port, with each scheme's default port filled in.
bool sameOrigin(const QUrl& a, const QUrl& b)
{
    const auto defaultPort = [](const QUrl& url) {
        return url.scheme().compare(QLatin1String("https"), Qt::CaseInsensitive) == 0 ? 443 : 80;
    };
    return a.scheme().compare(b.scheme(), Qt::CaseInsensitive) == 0
           && a.host().compare(b.host(), Qt::CaseInsensitive) == 0
           && a.port(defaultPort(a)) == b.port(defaultPort(b));
}

// Qt follows every redirect but 307 and 308 with a GET and drops the body:
// a query would silently become another request. Only its own HEAD stays a
// HEAD; every verb here is sent as a custom one, a HEAD included.
bool changesVerb(int status, const QByteArray& verb)
{
    return status != 307 && status != 308 && verb != "GET";
}

// URLs are logged without user name or password.
QString loggedUrl(const QUrl& url)
{
    return url.toString(QUrl::RemoveUserInfo);
}

// Every warning this layer writes about an exchange: what happened, then
// the exchange's verb and URL.
void warn(const PendingHttpRequest& pending, const QString& what)
{
    QDebug out = qtHelpers::logger(QtWarningMsg, qtHelpers::chat());
    out.noquote() << "QtHttpNetworkService:" << what;
    out.quote() << "verb" << pending.verb << "url" << loggedUrl(pending.url);
}

// One debug line per finished exchange, for whoever supports a user:
// QT_LOGGING_RULES="vyx.plugin.chat.debug=true".
void trace(const PendingHttpRequest& pending, int status)
{
    if (!qtHelpers::chat().isDebugEnabled())
        return;
    QDebug out = qtHelpers::logger(QtDebugMsg, qtHelpers::chat());
    out.noquote() << "QtHttpNetworkService:" << pending.verb << loggedUrl(pending.url);
    if (pending.result == 0)
        out << "status" << status;
    else
        out << "failed" << pending.result;
    out << "in" << pending.timer.elapsed() << "ms";
}

QString bodyOverLimit(qint64 limit)
{
    return QStringLiteral("reply body larger than the limit of %1 bytes; exchange aborted;").arg(limit);
}

QString bodyFailure(HttpBodyDevice::Failure failure)
{
    switch (failure) {
    case HttpBodyDevice::Failure::None: break;
    case HttpBodyDevice::Failure::Unreadable:
        return QStringLiteral("request body could not be read; the request was not sent;");
    case HttpBodyDevice::Failure::Shorter:
        return QStringLiteral("request body ended before its announced length; the request was not sent;");
    case HttpBodyDevice::Failure::Longer:
        return QStringLiteral("request body ran past its announced length; the request was not sent;");
    }
    return {};
}

const char* errorName(QNetworkReply::NetworkError error)
{
    const char* name = QMetaEnum::fromType<QNetworkReply::NetworkError>().valueToKey(error);
    return name ? name : "UnknownNetworkError";
}

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

// Appends what the reply holds straight to the response, without the
// intermediate QByteArray that readAll() would make: for a large reply that
// copy is a whole extra body alive at once. False, with nothing read, when
// the body would grow beyond `limit`.
bool readBody(QNetworkReply& reply, std::string& body, qint64 limit)
{
    for (qint64 available = reply.bytesAvailable(); available > 0; available = reply.bytesAvailable()) {
        if (available > limit - static_cast<qint64>(body.size()))
            return false;
        const std::size_t before = body.size();
        qint64 got = 0;
        body.resize_and_overwrite(before + static_cast<std::size_t>(available),
                                  [&](char* buffer, std::size_t) {
                                      got = reply.read(buffer + before, available);
                                      return before + static_cast<std::size_t>(std::max<qint64>(got, 0));
                                  });
        if (got <= 0)
            break;
    }
    return true;
}

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

bool QtHttpNetworkService::isShuttingDown() const
{
    QMutexLocker locker(&mutex);
    return shutting_down;
}

qint32 QtHttpNetworkService::execute(PendingHttpRequest& pending)
{
    {
        QMutexLocker locker(&mutex);
        if (shutting_down || pending.isCancelled()) {
            pending.result = kOperationCanceled;
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

void QtHttpNetworkService::Worker::perform(PendingHttpRequest* pending)
{
    pending->timer.start();
    // Cancelled between the post and now: the abort has already been by.
    if (pending->isCancelled()) {
        pending->result = kOperationCanceled;
        pending->done.release();
        return;
    }
    if (manager == nullptr) {
        manager = new QNetworkAccessManager(this);
        // Started with the first exchange, not with the first inactivity
        // limit: every exchange is stamped on it from its start on.
        clock.start();
    }

    QNetworkRequest request(pending->url);
    // Every redirect is looked at before it is followed (checkRedirect): the
    // request carries credentials, which must not go to another origin.
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                         pending->disable_redirects ? QNetworkRequest::ManualRedirectPolicy
                                                    : QNetworkRequest::UserVerifiedRedirectPolicy);
    // A cookie one exchange received is never sent with the next: sessions
    // are the token's business, and the network thread outlives every
    // sign-in.
    request.setAttribute(QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::Manual);
    request.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
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
        warn(*pending, QStringLiteral("sendCustomRequest returned null for"));
        delete device;
        pending->result = kUnknownProtocol;
        pending->done.release();
        return;
    }
    if (device != nullptr) {
        // The device lives as long as the reply.
        device->setParent(reply);
        // Ended from the event loop, not from inside Qt's read of the body.
        device->setFailureHandler([this, reply] {
            QMetaObject::invokeMethod(
                this, [this, reply] { giveUp(reply, kBodyRefused, QString()); }, Qt::QueuedConnection);
        });
    }
    active_replies.insert(reply, pending);
    onSignal(reply, &QNetworkReply::finished,
             [this, reply, device](PendingHttpRequest* p) { finishRequest(reply, device, p); });
    watchProgress(reply, pending);
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
        markMoved(pending);
        handler(pending, arguments...);
    });
}

void QtHttpNetworkService::Worker::watchProgress(QNetworkReply* reply, PendingHttpRequest* pending)
{
    // The body is taken as it comes, so that a reply is stopped as soon as it
    // passes the limit rather than after it has been read whole.
    onSignal(reply, &QNetworkReply::metaDataChanged,
             [this, reply](PendingHttpRequest* p) { checkAnnouncedLength(reply, p); });
    onSignal(reply, &QNetworkReply::readyRead,
             [this, reply](PendingHttpRequest* p) { readAvailable(reply, p); });
    onSignal(reply, &QNetworkReply::uploadProgress, [](PendingHttpRequest*, qint64, qint64) {});
    onSignal(reply, &QNetworkReply::redirected,
             [this, reply](PendingHttpRequest* p, const QUrl& target) { checkRedirect(reply, p, target); });
    // Without a read buffer limit, Qt's HTTP thread reads a reply that comes
    // faster than it can hand it over into memory for as long as it keeps
    // coming, before this thread hears of any of it. A limit set on the reply
    // only reaches that thread if the request has already started there,
    // and Qt starts it at once, or, for a body it first takes whole from
    // its device, two turns of this thread's loop later. Set at each of
    // those moments, the limit is queued to the HTTP thread right behind the
    // start of the request, and so always before the first byte of the
    // answer; before the start it costs nothing, there being nobody to tell.
    const auto limit = [reply] { reply->setReadBufferSize(kReadBufferBytes); };
    limit();
    QMetaObject::invokeMethod(
        reply,
        [reply, limit] {
            limit();
            QMetaObject::invokeMethod(reply, limit, Qt::QueuedConnection);
        },
        Qt::QueuedConnection);
    markMoved(pending);
    watchInactivity(pending->limits.inactivityTimeoutMs);
}

void QtHttpNetworkService::Worker::markMoved(PendingHttpRequest* pending)
{
    pending->last_moved_ms = clock.elapsed();
}

void QtHttpNetworkService::Worker::watchInactivity(int limitMs)
{
    if (limitMs <= 0)
        return;
    // One timer for all exchanges, rather than one restarted on every signal
    // of every exchange: it looks often enough to end a stalled exchange
    // within a quarter of its limit.
    if (sweep == nullptr) {
        sweep = new QTimer(this);
        connect(sweep, &QTimer::timeout, this, [this] { endStalledExchanges(); });
    }
    const int interval = std::clamp(limitMs / 4, 10, 1000);
    if (!sweep->isActive() || sweep->interval() > interval)
        sweep->start(interval);
}

void QtHttpNetworkService::Worker::endStalledExchanges()
{
    const qint64 now = clock.elapsed();
    const QHash<QNetworkReply*, PendingHttpRequest*> snapshot = active_replies;
    for (auto it = snapshot.cbegin(); it != snapshot.cend(); ++it) {
        PendingHttpRequest* pending = it.value();
        const int limit = pending->limits.inactivityTimeoutMs;
        if (limit <= 0 || now - pending->last_moved_ms < limit)
            continue;
        giveUp(it.key(), kStalled, QStringLiteral("no data for %1 ms, exchange aborted;").arg(limit));
    }
    if (active_replies.isEmpty())
        sweep->stop();
}

void QtHttpNetworkService::Worker::checkRedirect(QNetworkReply* reply, PendingHttpRequest* pending,
                                                 const QUrl& target)
{
    const QUrl next = pending->url.resolved(target);
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    const char* refusal = nullptr;
    if (!sameOrigin(pending->url, next))
        refusal = "to another origin";
    else if (changesVerb(status, pending->verb))
        refusal = "that would change the verb";
    if (refusal == nullptr) {
        Q_EMIT reply->redirectAllowed();
        return;
    }
    giveUp(reply, kRedirectRefused,
           QStringLiteral("redirect %1 refused (status %2, to %3);")
               .arg(QLatin1String(refusal))
               .arg(status)
               .arg(loggedUrl(next)));
}

void QtHttpNetworkService::Worker::checkAnnouncedLength(QNetworkReply* reply, PendingHttpRequest* pending)
{
    const QVariant header = reply->header(QNetworkRequest::ContentLengthHeader);
    if (!header.isValid())
        return;
    const qint64 announced = header.toLongLong();
    const qint64 limit = pending->limits.maxReplyBytes;
    if (announced <= limit) {
        // Grown once, instead of doubling its way up while the body arrives.
        pending->response->body.reserve(static_cast<std::size_t>(std::max<qint64>(announced, 0)));
        return;
    }
    giveUp(reply, kTooLarge,
           QStringLiteral("reply announces %1 bytes, more than the limit of %2; exchange aborted;")
               .arg(announced)
               .arg(limit));
}

void QtHttpNetworkService::Worker::readAvailable(QNetworkReply* reply, PendingHttpRequest* pending)
{
    if (pending->given_up != 0)
        return;
    const qint64 limit = pending->limits.maxReplyBytes;
    const qint64 available = reply->bytesAvailable();
    if (available < kReadEagerlyFrom
        && available <= limit - static_cast<qint64>(pending->response->body.size()))
        return;
    if (!readBody(*reply, pending->response->body, limit))
        giveUp(reply, kTooLarge, bodyOverLimit(limit));
}

void QtHttpNetworkService::Worker::giveUp(QNetworkReply* reply, qint32 error, const QString& why)
{
    PendingHttpRequest* pending = active_replies.value(reply);
    if (pending == nullptr || pending->given_up != 0)
        return;
    if (!why.isEmpty())
        warn(*pending, why);
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
        ~TraceOnExit() { trace(pending, status); }
    };

    const QNetworkReply::NetworkError error = reply->error();
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    const TraceOnExit traced{*pending, status};
    tarsion::http_response& response = *pending->response;
    response.status = static_cast<std::uint32_t>(status);
    response.headers = {};
    for (const auto& [name, value] : reply->rawHeaderPairs())
        response.headers.append(name.toStdString(), value.toStdString());
    // All of the reply has come, so the read-ahead holds nothing back any
    // more. Lifted on QNetworkReply alone, it tells Qt's HTTP thread nothing
    // (that thread is done), and reading the rest hands it no freed space.
    reply->QNetworkReply::setReadBufferSize(0);
    if (pending->given_up == 0 && !readBody(*reply, response.body, pending->limits.maxReplyBytes)) {
        warn(*pending, bodyOverLimit(pending->limits.maxReplyBytes));
        pending->given_up = kTooLarge;
    }

    // The sender may destroy its body as soon as it wakes.
    if (device != nullptr) {
        device->detach();
        if (const QString why = bodyFailure(device->failure()); !why.isEmpty()) {
            warn(*pending, why);
            pending->given_up = kBodyRefused;
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
        warn(*pending, QStringLiteral("transport error ") + QLatin1String(errorName(error)));
        pending->result = error;
    } else {
        pending->result = 0;
    }
}

void QtHttpNetworkService::Worker::shutdown()
{
    const QHash<QNetworkReply*, PendingHttpRequest*> snapshot = active_replies;
    // A cancellation, not a transport error: nothing is logged for it.
    for (auto it = snapshot.cbegin(); it != snapshot.cend(); ++it)
        giveUp(it.key(), kOperationCanceled, QString());
    while (!active_replies.isEmpty())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

void QtHttpNetworkService::Worker::abortCancelled()
{
    const QHash<QNetworkReply*, PendingHttpRequest*> snapshot = active_replies;
    for (auto it = snapshot.cbegin(); it != snapshot.cend(); ++it) {
        if (it.value()->isCancelled())
            giveUp(it.key(), kOperationCanceled, QString());
    }
}

} // namespace QuorvelSdk
