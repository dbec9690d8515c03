#include "Ambrel/ClientCredentials.h"

#include "Ambrel/TokenReply.h"

#include <QEventLoop>
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

} // namespace

std::expected<AccessToken, QString> ClientCredentials::requestToken(int timeoutMs) const
{
    const auto fail = [](const QString& why) { return std::unexpected(why); };
    if (!tokenUrl.isValid() || tokenUrl.isEmpty())
        return fail(QStringLiteral("no token endpoint configured"));

    QUrlQuery form;
    form.addQueryItem(QStringLiteral("grant_type"), QStringLiteral("client_credentials"));
    form.addQueryItem(QStringLiteral("client_id"), clientId);
    form.addQueryItem(QStringLiteral("client_secret"), clientSecret);
    QNetworkRequest request(tokenUrl);
    request.setHeader(QNetworkRequest::ContentTypeHeader,
                      QByteArrayLiteral("application/x-www-form-urlencoded"));
    // The form carries the client secret: a redirect, wherever it points,
    // is an answer, not an invitation to post it again.
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);

    // A manager of its own on the calling thread, so that any thread may ask.
    QNetworkAccessManager manager;
    QNetworkReply* reply = manager.post(request, form.query(QUrl::FullyEncoded).toUtf8());
    QEventLoop loop;
    // Read as it comes, so that an endless reply is noticed as soon as it is
    // too long; and held back in Qt's HTTP thread, which would otherwise read
    // all it can get before handing any of it over. The limit only reaches
    // that thread once the request has started there, which Qt does at once
    // or one or two turns of the event loop later: it is set at each.
    const auto limit = [reply] { reply->setReadBufferSize(kMaxTokenReplyBytes); };
    limit();
    QMetaObject::invokeMethod(
        reply,
        [reply, limit] {
            limit();
            QMetaObject::invokeMethod(reply, limit, Qt::QueuedConnection);
        },
        Qt::QueuedConnection);
    QByteArray body;
    bool tooLarge = false;
    const auto take = [reply, &body, &tooLarge] {
        const QVariant announced = reply->header(QNetworkRequest::ContentLengthHeader);
        if (announced.isValid() && announced.toLongLong() > kMaxTokenReplyBytes)
            tooLarge = true;
        else
            body += reply->readAll();
        if (tooLarge || body.size() > kMaxTokenReplyBytes) {
            tooLarge = true;
            reply->abort();
        }
    };
    QObject::connect(reply, &QNetworkReply::metaDataChanged, &loop, take);
    QObject::connect(reply, &QNetworkReply::readyRead, &loop, take);
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    QTimer::singleShot(timeoutMs, &loop, &QEventLoop::quit);
    loop.exec();
    if (tooLarge) {
        reply->deleteLater();
        return fail(QStringLiteral("token endpoint reply larger than %1 bytes").arg(kMaxTokenReplyBytes));
    }
    if (!reply->isFinished()) {
        reply->abort();
        reply->deleteLater();
        return fail(QStringLiteral("token endpoint did not answer in time"));
    }
    reply->deleteLater();
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (status == 0)
        return fail(QStringLiteral("token endpoint unreachable: %1").arg(reply->errorString()));
    return readTokenReply(status, body + reply->readAll());
}

} // namespace Ambrel
