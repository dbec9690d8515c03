#pragma once

#include <functional>

#include <QByteArray>
#include <QMutex>
#include <QObject>

#include "Ambrel/AccessToken.h"
#include "VyxPlatformExport.h"

namespace Ambrel {

// The host's sign-in client: hands out the current access token and renews
// it. Both operations may be called from any thread and block the caller.
class VYX_PLATFORM_EXPORT Client : public QObject
{
    Q_OBJECT

public:
    // Obtains a token; an empty value means the renewal failed.
    using TokenSource = std::function<AccessToken()>;

    explicit Client(QObject* parent = nullptr);
    ~Client() override;

    QByteArray getAccessTokenBytes() const;
    // Renews the token through the token source. Without `force`, a renewal
    // that is already under way on another thread is awaited and shared.
    QByteArray refreshAccessToken(bool force);

    // Host side: where tokens come from, and the token of a fresh sign-in.
    void setTokenSource(TokenSource source);
    void setAccessToken(const QByteArray& token);
    // Forgets the token and the source; a renewal still under way then
    // keeps what it gets to itself, so a signed-out client stays empty.
    void clearAccessToken();

Q_SIGNALS:
    // A renewal stored a new token (emitted on the renewing thread).
    void accessTokenRenewed(qint64 expiresInSeconds);

private:
    mutable QMutex m_lock;
    QMutex m_renewal;
    QByteArray m_token;
    TokenSource m_source;
    // Moves on with every sign-in and sign-out.
    quint64 m_epoch = 0;
};

} // namespace Ambrel
