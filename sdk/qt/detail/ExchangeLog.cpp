#include "sdk/qt/detail/ExchangeLog.h"

#include <QMetaEnum>

#include <qtHelpers/Logger.h>

#include "sdk/qt/VisibleText.h"

namespace QuorvelSdk::detail {

// A URL may come from the service (a redirect's Location): shown in the
// notation of the page, as everything in a log line that the service wrote.
QString loggedUrl(const QUrl& url)
{
    return visibleText(url.toString(QUrl::RemoveUserInfo));
}

void warn(const PendingHttpRequest& pending, const QString& what)
{
    QDebug out = qtHelpers::logger(QtWarningMsg, qtHelpers::chat());
    out.noquote() << "QtHttpNetworkService:" << visibleText(what) << "verb" << '"' + pending.verb + '"'
                  << "url" << '"' + loggedUrl(pending.url) + '"';
}

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

QString errorName(QNetworkReply::NetworkError error)
{
    const char* name = QMetaEnum::fromType<QNetworkReply::NetworkError>().valueToKey(error);
    return QLatin1String(name ? name : "UnknownNetworkError");
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

} // namespace QuorvelSdk::detail
