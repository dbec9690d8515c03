#pragma once

#include <QByteArray>
#include <QString>
#include <QUrl>

#include "VyxPlatformExport.h"

namespace Ambrel {

// OAuth 2 client credentials against a token endpoint.
struct VYX_PLATFORM_EXPORT ClientCredentials
{
    QUrl tokenUrl;
    QString clientId;
    QString clientSecret;

    // Asks the endpoint for an access token; blocks the calling thread (any
    // thread) for at most `timeoutMs`. Returns the token, or empty with a
    // reason in `error` that never contains the secret.
    QByteArray fetchToken(QString* error = nullptr, int timeoutMs = 15000) const;
};

} // namespace Ambrel
