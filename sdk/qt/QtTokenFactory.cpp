#include "sdk/qt/QtTokenFactory.h"

#include "sdk/qt/IAuthTokenProvider.h"

namespace QuorvelSdk {

QtTokenFactory::QtTokenFactory(IAuthTokenProvider* tokenProvider) : provider(tokenProvider) {}

std::string QtTokenFactory::get_token()
{
    return provider ? provider->accessToken().toStdString() : std::string();
}

tarsion::expected<std::string> QtTokenFactory::refresh_token(const std::string& failed_token)
{
    const std::string current = get_token();
    if (!current.empty() && !failed_token.empty() && current != failed_token)
        return current;
    const QByteArray renewed = provider ? provider->refreshAccessToken() : QByteArray();
    if (renewed.isEmpty())
        return tarsion::make_error(tarsion::error_kind::transport, 0,
                                   "QtTokenFactory: refresh returned empty token.");
    return renewed.toStdString();
}

} // namespace QuorvelSdk
