#pragma once

#include <expected>

#include <QString>
#include <QUrl>

#include "Ambrel/AccessToken.h"
#include "VyxPlatformExport.h"

namespace Ambrel {

// OAuth 2 client credentials against a token endpoint.
struct VYX_PLATFORM_EXPORT ClientCredentials
{
    QUrl tokenUrl;
    QString clientId;
    QString clientSecret;

    // Asks the endpoint for an access token; blocks the calling thread (any
    // thread) for at most `timeoutMs`. A failure carries a reason that never
    // contains the secret or a token.
    std::expected<AccessToken, QString> requestToken(int timeoutMs = 15000) const;
};

} // namespace Ambrel
