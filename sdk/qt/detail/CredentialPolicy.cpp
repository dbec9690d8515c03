#include "sdk/qt/detail/CredentialPolicy.h"

#include <algorithm>

#include <QHostAddress>

namespace QuorvelSdk::detail {

bool isLoopback(const QUrl& url)
{
    const QString host = url.host();
    return host.compare(QLatin1String("localhost"), Qt::CaseInsensitive) == 0
           || QHostAddress(host).isLoopback();
}

bool exposesCredentials(const QUrl& url, const QList<std::pair<QByteArray, QByteArray>>& headers)
{
    if (url.scheme().compare(QLatin1String("https"), Qt::CaseInsensitive) == 0 || isLoopback(url))
        return false;
    return std::any_of(headers.begin(), headers.end(), [](const auto& header) {
        return header.first.compare("Authorization", Qt::CaseInsensitive) == 0 && !header.second.isEmpty();
    });
}

} // namespace QuorvelSdk::detail
