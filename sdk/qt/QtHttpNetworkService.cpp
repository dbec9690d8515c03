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

#include <qtHelpers/Logger.h>

#include "sdk/qt/HttpBodyDevice.h"

namespace QuorvelSdk {
namespace {

// Qt's numbers for the two failures this layer produces itself.
constexpr qint32 kOperationCanceled = QNetworkReply::OperationCanceledError;
constexpr qint32 kUnknownProtocol = QNetworkReply::ProtocolUnknownError;

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

// Reads what the reply holds straight into the response, without the
// intermediate QByteArray that readAll() would make: for a large reply that
// copy is a whole extra body alive at once.
void readBody(QNetworkReply& reply, std::string& body)
{
    body.clear();
    for (qint64 available = reply.bytesAvailable(); available > 0; available = reply.bytesAvailable()) {
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
        QMetaObject::invokeMethod(worker, [w] { w->shutdown(); }, Qt::BlockingQueuedConnection);
    }
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
        if (shutting_down) {
            pending.result = kOperationCanceled;
            return pending.result;
        }
        // Posted under the lock, so a shutdown cannot slip in between the
        // check and the post and leave this sender waiting for nothing.
        Worker* w = worker;
        PendingHttpRequest* p = &pending;
        QMetaObject::invokeMethod(worker, [w, p] { w->perform(p); }, Qt::QueuedConnection);
    }
    pending.done.acquire();
    return pending.result;
}

void QtHttpNetworkService::Worker::perform(PendingHttpRequest* pending)
{
    if (manager == nullptr)
        manager = new QNetworkAccessManager(this);

    QNetworkRequest request(pending->url);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                         pending->disable_redirects ? QNetworkRequest::ManualRedirectPolicy
                                                    : QNetworkRequest::NoLessSafeRedirectPolicy);
    for (const auto& [name, value] : pending->headers) {
        if (!name.isEmpty())
            request.setRawHeader(name, value);
    }
    if (pending->content_length > 0 && !request.hasRawHeader("Content-Length"))
        request.setHeader(QNetworkRequest::ContentLengthHeader, pending->content_length);

    HttpBodyDevice* device = nullptr;
    if (pending->body != nullptr && pending->content_length != 0)
        device = new HttpBodyDevice(pending->body, pending->content_length);

    QNetworkReply* reply = manager->sendCustomRequest(request, pending->verb, device);
    if (reply == nullptr) {
        qtHelpers::logger(QtWarningMsg, qtHelpers::chat())
            << "QtHttpNetworkService: sendCustomRequest returned null for verb" << pending->verb
            << "url" << pending->url.toString();
        delete device;
        pending->result = kUnknownProtocol;
        pending->done.release();
        return;
    }
    if (device != nullptr)
        device->setParent(reply);
    active_replies.insert(reply);
    connect(reply, &QNetworkReply::finished, this,
            [this, reply, device, pending] { finishRequest(reply, device, pending); });
}

void QtHttpNetworkService::Worker::finishRequest(QNetworkReply* reply, HttpBodyDevice* device,
                                                 PendingHttpRequest* pending)
{
    ReleaseOnExit release(pending->done);

    const QNetworkReply::NetworkError error = reply->error();
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    tarsion::http_response& response = *pending->response;
    response.status = static_cast<std::uint32_t>(status);
    response.headers = {};
    for (const auto& [name, value] : reply->rawHeaderPairs())
        response.headers.append(name.toStdString(), value.toStdString());
    readBody(*reply, response.body);

    if (device != nullptr)
        device->detach();
    active_replies.remove(reply);
    reply->deleteLater();

    if (error != QNetworkReply::NoError && status == 0) {
        qtHelpers::logger(QtWarningMsg, qtHelpers::chat())
            << "QtHttpNetworkService: transport error" << errorName(error) << "verb"
            << pending->verb << "url" << pending->url.toString();
        pending->result = error;
    } else {
        pending->result = 0;
    }
}

void QtHttpNetworkService::Worker::shutdown()
{
    const QSet<QNetworkReply*> snapshot = active_replies;
    for (QNetworkReply* reply : snapshot)
        reply->abort();
    while (!active_replies.isEmpty())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

} // namespace QuorvelSdk
