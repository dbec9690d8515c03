#pragma once

#include <utility>

#include <QByteArray>
#include <QtGlobal>

namespace Ambrel {

// A bearer token as the token endpoint issued it.
struct AccessToken
{
    // Implicit, so that a source that only knows the token can say so.
    AccessToken(QByteArray token = {}, qint64 lifetimeSeconds = 0)
        : value(std::move(token))
        , expiresInSeconds(lifetimeSeconds)
    {
    }

    QByteArray value;
    // As the endpoint announced it; 0 when it did not say.
    qint64 expiresInSeconds = 0;
};

} // namespace Ambrel
