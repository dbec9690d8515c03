#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>

#include <functional>

namespace QuorvelEmulator {

// Access tokens the emulator has handed out, each with its expiry. Expired
// tokens are remembered so that a client can be told "expired" rather than
// "unknown": the product renews on either, but the difference shows in a
// test log.
class TokenStore
{
public:
    // Milliseconds on a monotonic scale; tests substitute their own to move
    // time forward without sleeping.
    using Clock = std::function<qint64()>;

    enum class Check
    {
        Valid,
        Unknown,
        Expired
    };

    explicit TokenStore(Clock clock = {});

    // A new random, unguessable token valid for `lifetimeSeconds`, issued
    // to the client `owner`.
    QByteArray issue(qint64 lifetimeSeconds, const QString& owner = {});
    Check check(const QByteArray& token) const;
    // The client a token was issued to; empty for a token never issued.
    QString owner(const QByteArray& token) const { return m_owner.value(token); }
    // False when the token was never issued.
    bool expire(const QByteArray& token);
    void expireAll();
    qsizetype size() const { return m_expiry.size(); }
    // Every token still remembered, expired ones included, sorted; for tests
    // that must recognise an issued token wherever it turns up.
    QList<QByteArray> issued() const;

private:
    qint64 now() const;
    void forgetLongExpired();

    Clock m_clock;
    QHash<QByteArray, qint64> m_expiry;
    QHash<QByteArray, QString> m_owner;
};

} // namespace QuorvelEmulator
