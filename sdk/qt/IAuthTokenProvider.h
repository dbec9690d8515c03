#pragma once

#include <QByteArray>

namespace QuorvelSdk {

// Where access tokens come from on the Qt side. Called from SDK worker
// threads; both operations may block.
class IAuthTokenProvider
{
public:
    virtual ~IAuthTokenProvider() = default;
    // The current token; empty when there is none.
    virtual QByteArray accessToken() = 0;
    // A renewed token; empty when renewal failed.
    virtual QByteArray refreshAccessToken() = 0;
};

} // namespace QuorvelSdk
