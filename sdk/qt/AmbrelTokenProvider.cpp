#include "sdk/qt/AmbrelTokenProvider.h"

namespace QuorvelSdk {

AmbrelTokenProvider::AmbrelTokenProvider(Ambrel::Client* signInClient) : client(signInClient) {}

QByteArray AmbrelTokenProvider::accessToken()
{
    const QPointer<Ambrel::Client> current = client;
    return current ? current->getAccessTokenBytes() : QByteArray();
}

QByteArray AmbrelTokenProvider::refreshAccessToken()
{
    const QPointer<Ambrel::Client> current = client;
    // Never forced: a renewal another thread already made is good enough.
    return current ? current->refreshAccessToken(false) : QByteArray();
}

} // namespace QuorvelSdk
