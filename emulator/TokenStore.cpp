#include "TokenStore.h"

#include <QRandomGenerator>

#include <algorithm>
#include <array>
#include <chrono>

namespace QuorvelEmulator {

namespace {

// Beyond this many remembered tokens, the long-expired ones are dropped, so
// that a benchmark fetching a token per request cannot grow the table
// without bound.
constexpr qsizetype kRememberLimit = 10000;
constexpr qint64 kForgetAfterMs = 3600 * 1000;

qint64 steadyMilliseconds()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

} // namespace

TokenStore::TokenStore(Clock clock) : m_clock(clock ? std::move(clock) : Clock(steadyMilliseconds)) {}

qint64 TokenStore::now() const
{
    return m_clock();
}

QByteArray TokenStore::issue(qint64 lifetimeSeconds, const QString& owner)
{
    if (m_expiry.size() >= kRememberLimit)
        forgetLongExpired();

    QByteArray token;
    do {
        std::array<quint32, 8> words{};
        QRandomGenerator::system()->fillRange(words.data(), words.size());
        const QByteArray raw(reinterpret_cast<const char*>(words.data()),
                             qsizetype(words.size() * sizeof(quint32)));
        token = raw.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals);
    } while (m_expiry.contains(token));

    m_expiry.insert(token, now() + lifetimeSeconds * 1000);
    m_owner.insert(token, owner);
    return token;
}

TokenStore::Check TokenStore::check(const QByteArray& token) const
{
    const auto found = m_expiry.constFind(token);
    if (found == m_expiry.constEnd())
        return Check::Unknown;
    return now() < found.value() ? Check::Valid : Check::Expired;
}

bool TokenStore::expire(const QByteArray& token)
{
    const auto found = m_expiry.find(token);
    if (found == m_expiry.end())
        return false;
    found.value() = qMin(found.value(), now());
    return true;
}

void TokenStore::expireAll()
{
    const qint64 at = now();
    for (auto it = m_expiry.begin(); it != m_expiry.end(); ++it)
        it.value() = qMin(it.value(), at);
}

QList<QByteArray> TokenStore::issued() const
{
    QList<QByteArray> tokens = m_expiry.keys();
    std::sort(tokens.begin(), tokens.end());
    return tokens;
}

void TokenStore::forgetLongExpired()
{
    const qint64 cutoff = now() - kForgetAfterMs;
    m_expiry.removeIf([cutoff](const auto& entry) { return entry.value() < cutoff; });
    m_owner.removeIf([this](const auto& entry) { return !m_expiry.contains(entry.key()); });
}

} // namespace QuorvelEmulator
