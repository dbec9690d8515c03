#include "Ambrel/Client.h"

#include <QMutexLocker>

namespace Ambrel {

Client::Client(QObject* parent) : QObject(parent) {}

Client::~Client() = default;

QByteArray Client::getAccessTokenBytes() const
{
    QMutexLocker locker(&m_lock);
    return m_token;
}

QByteArray Client::refreshAccessToken(bool force)
{
    const QByteArray before = getAccessTokenBytes();
    QMutexLocker renewal(&m_renewal);
    TokenSource source;
    quint64 epoch = 0;
    {
        QMutexLocker locker(&m_lock);
        // Another thread renewed while this one waited: share its result.
        if (!force && m_token != before && !m_token.isEmpty())
            return m_token;
        source = m_source;
        epoch = m_epoch;
    }
    const AccessToken renewed = source ? source() : AccessToken();
    {
        QMutexLocker locker(&m_lock);
        // Signed out (or in again) meanwhile: the token belongs to nobody.
        if (renewed.value.isEmpty() || epoch != m_epoch)
            return {};
        m_token = renewed.value;
    }
    Q_EMIT accessTokenRenewed(renewed.expiresInSeconds);
    return renewed.value;
}

void Client::setTokenSource(TokenSource source)
{
    QMutexLocker locker(&m_lock);
    m_source = std::move(source);
    ++m_epoch;
}

void Client::setAccessToken(const QByteArray& token)
{
    QMutexLocker locker(&m_lock);
    m_token = token;
}

void Client::clearAccessToken()
{
    QMutexLocker locker(&m_lock);
    m_token.clear();
    m_source = {};
    ++m_epoch;
}

} // namespace Ambrel
