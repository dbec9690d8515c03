#pragma once

#include <QPointer>

#include <Ambrel/Client.h>

#include "sdk/qt/IAuthTokenProvider.h"

namespace QuorvelSdk {

// Tokens from the host's sign-in client. The client belongs to the host; once
// the host deletes it, both operations answer with an empty token.
class AmbrelTokenProvider : public IAuthTokenProvider
{
public:
    explicit AmbrelTokenProvider(Ambrel::Client* client);

    QByteArray accessToken() override;
    QByteArray refreshAccessToken() override;

private:
    QPointer<Ambrel::Client> client;
};

} // namespace QuorvelSdk
