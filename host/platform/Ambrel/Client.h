#pragma once

#include <functional>

#include <QByteArray>
#include <QMutex>
#include <QObject>

#include "VyxPlatformExport.h"

namespace Ambrel {

// The host's sign-in client: hands out the current access token and renews
// it. Both operations may be called from any thread and block the caller.
class VYX_PLATFORM_EXPORT Client : public QObject
{
    Q_OBJECT

public:
    // Obtains a token; an empty result means the renewal failed.
    using TokenSource = std::function<QByteArray()>;

    explicit Client(QObject* parent = nullptr);
    ~Client() override;

    QByteArray getAccessTokenBytes() const;
    // Renews the token through the token source. Without `force`, a renewal
    // that is already under way on another thread is awaited and shared.
    QByteArray refreshAccessToken(bool force);

    // Host side: where tokens come from, and the token of a fresh sign-in.
    void setTokenSource(TokenSource source);
    void setAccessToken(const QByteArray& token);
    void clearAccessToken();

private:
    mutable QMutex m_lock;
    QMutex m_renewal;
    QByteArray m_token;
    TokenSource m_source;
};

} // namespace Ambrel
