#include "Ambrel/ClientCredentials.h"

#include "Ambrel/TokenReply.h"

#include <QEventLoop>
#include <QHostAddress>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QTimer>
#include <QUrlQuery>

namespace Ambrel {
namespace {

// A token reply is a few hundred bytes; anything near this is not one, and
// must not be allowed to fill the host's memory.
constexpr qint64 kMaxTokenReplyBytes = 64 * 1024;

QNetworkRequest tokenRequest(const QUrl& tokenUrl)
{
    QNetworkRequest request(tokenUrl);
    request.setHeader(QNetworkRequest::ContentTypeHeader,
                      QByteArrayLiteral("application/x-www-form-urlencoded"));
    // The form carries the client secret: a redirect, wherever it points,
    // is an answer, not an invitation to post it again.
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    return request;
}

QByteArray tokenForm(const QString& clientId, const QString& clientSecret)
{
    QUrlQuery form;
    form.addQueryItem(QStringLiteral("grant_type"), QStringLiteral("client_credentials"));
    form.addQueryItem(QStringLiteral("client_id"), clientId);
    form.addQueryItem(QStringLiteral("client_secret"), clientSecret);
    return form.query(QUrl::FullyEncoded).toUtf8();
}

// Keeps the reply's body, read as it comes so that an endless one is
// stopped as soon as it is too long.
class BoundedBody
{
public:
    explicit BoundedBody(QNetworkReply* reply) : m_reply(reply)
    {
        // Qt's HTTP thread would otherwise read all it can get before handing
        // any of it over. A limit set on the reply reaches that thread only
        // once the request has started there, and Qt starts a request whose
        // body it is given as bytes one turn of the event loop after it is
        // made: the limit is set now and at that turn.
        const auto limit = [reply] { reply->setReadBufferSize(kMaxTokenReplyBytes); };
        limit();
        QMetaObject::invokeMethod(reply, limit, Qt::QueuedConnection);
    }

    void take()
    {
        const QVariant announced = m_reply->header(QNetworkRequest::ContentLengthHeader);
        m_tooLarge = m_tooLarge || (announced.isValid() && announced.toLongLong() > kMaxTokenReplyBytes);
        if (!m_tooLarge)
            m_body += m_reply->readAll();
        if (m_tooLarge || m_body.size() > kMaxTokenReplyBytes) {
            m_tooLarge = true;
            m_reply->abort();
        }
    }

    bool tooLarge() const { return m_tooLarge; }
    const QByteArray& bytes() const { return m_body; }

private:
    QNetworkReply* m_reply;
    QByteArray m_body;
    bool m_tooLarge = false;
};

} // namespace

void TokenRequestAbort::abort()
{
    std::lock_guard lock(m_mutex);
    m_aborted = true;
    // Queued: each loop quits on its own thread, whichever thread aborts.
    for (QEventLoop* loop : std::as_const(m_loops))
        QMetaObject::invokeMethod(loop, &QEventLoop::quit, Qt::QueuedConnection);
}

bool TokenRequestAbort::isAborted() const
{
    std::lock_guard lock(m_mutex);
    return m_aborted;
}

TokenRequestAbort::Watch::Watch(TokenRequestAbort* abort, QEventLoop& loop) : m_abort(abort), m_loop(loop)
{
    if (m_abort == nullptr)
        return;
    std::lock_guard lock(m_abort->m_mutex);
    m_abort->m_loops.append(&m_loop);
    // An abort that came before the watch (while the request was being
    // made, say) found no loop to end: end this one as soon as it runs.
    if (m_abort->m_aborted)
        QMetaObject::invokeMethod(&m_loop, &QEventLoop::quit, Qt::QueuedConnection);
}

TokenRequestAbort::Watch::~Watch()
{
    if (m_abort == nullptr)
        return;
    std::lock_guard lock(m_abort->m_mutex);
    m_abort->m_loops.removeOne(&m_loop);
}

std::expected<AccessToken, QString>
ClientCredentials::requestToken(int timeoutMs, const std::shared_ptr<TokenRequestAbort>& abort) const
{
    const auto fail = [](const QString& why) { return std::unexpected(why); };
    if (!tokenUrl.isValid() || tokenUrl.isEmpty())
        return fail(QStringLiteral("no token endpoint configured"));
    // The form carries the client secret (RFC 6749, section 2.3.1): over
    // plain http only to this machine, where nobody is on the way.
    const QString host = tokenUrl.host();
    const bool loopback =
        host.compare(QLatin1String("localhost"), Qt::CaseInsensitive) == 0 || QHostAddress(host).isLoopback();
    if (tokenUrl.scheme() != QLatin1String("https") && !loopback)
        return fail(QStringLiteral("the token endpoint must be https unless it is on this machine"));
    const auto abandoned = [&abort] { return abort && abort->isAborted(); };
    if (abandoned())
        return fail(QStringLiteral("token request abandoned"));

    // A manager of its own on the calling thread, so that any thread may ask.
    QNetworkAccessManager manager;
    QNetworkReply* reply = manager.post(tokenRequest(tokenUrl), tokenForm(clientId, clientSecret));
    BoundedBody body(reply);
    QEventLoop loop;
    const TokenRequestAbort::Watch watch(abort.get(), loop);
    QObject::connect(reply, &QNetworkReply::metaDataChanged, &loop, [&body] { body.take(); });
    QObject::connect(reply, &QNetworkReply::readyRead, &loop, [&body] { body.take(); });
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    QTimer::singleShot(timeoutMs, &loop, &QEventLoop::quit);
    loop.exec();
    reply->deleteLater();
    if (reply->isFinished())
        body.take();
    if (abandoned()) {
        reply->abort();
        return fail(QStringLiteral("token request abandoned"));
    }
    if (body.tooLarge())
        return fail(QStringLiteral("token endpoint reply larger than %1 bytes").arg(kMaxTokenReplyBytes));
    if (!reply->isFinished()) {
        reply->abort();
        return fail(QStringLiteral("token endpoint did not answer in time"));
    }
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (status == 0)
        return fail(QStringLiteral("token endpoint unreachable: %1").arg(reply->errorString()));
    return readTokenReply(status, body.bytes());
}

} // namespace Ambrel
