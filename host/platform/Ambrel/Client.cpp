#include "Ambrel/Client.h"

#include <QMutexLocker>

namespace Ambrel {

Client::Client(QObject* parent)
    : QObject(parent)
{
}

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
    {
        QMutexLocker locker(&m_lock);
        // Another thread renewed while this one waited: share its result.
        if (!force && m_token != before && !m_token.isEmpty())
            return m_token;
        source = m_source;
    }
    const QByteArray renewed = source ? source() : QByteArray();
    QMutexLocker locker(&m_lock);
    if (!renewed.isEmpty())
        m_token = renewed;
    return renewed;
}

void Client::setTokenSource(TokenSource source)
{
    QMutexLocker locker(&m_lock);
    m_source = std::move(source);
}

void Client::setAccessToken(const QByteArray& token)
{
    QMutexLocker locker(&m_lock);
    m_token = token;
}

void Client::clearAccessToken()
{
    setAccessToken({});
}

} // namespace Ambrel
