#pragma once

#include <expected>

#include <QByteArray>
#include <QString>

#include "Ambrel/AccessToken.h"
#include "VyxPlatformExport.h"

namespace Ambrel {

// Reads a token endpoint's reply (OAuth 2, RFC 6749 section 5). Accepts only
// a bearer token (any case of "Bearer") made of RFC 6750 token characters and,
// when present, a positive whole `expires_in`. Anything else is refused with
// a reason that quotes the endpoint's own `error` and `error_description`
// when it sent them, made printable and cut short, since a hostile endpoint
// writes them; the reason never quotes the token.
VYX_PLATFORM_EXPORT std::expected<AccessToken, QString> readTokenReply(int status, const QByteArray& body);

// When to renew a token that lives `expiresInSeconds`: shortly before it
// expires, leaving a fifth of its life but never more than a minute.
VYX_PLATFORM_EXPORT qint64 renewalDelayMs(qint64 expiresInSeconds);

} // namespace Ambrel
