#include "sdk/qt/detail/InactivityWatch.h"

#include <algorithm>

#include <QTimer>

namespace QuorvelSdk::detail {

InactivityWatch::InactivityWatch(QObject* owner, const Exchanges& exchanges,
                                 std::function<void(QNetworkReply*, const QString&)> stalled)
    : m_owner(owner)
    , m_exchanges(exchanges)
    , m_stalled(std::move(stalled))
{
}

void InactivityWatch::begin(PendingHttpRequest& pending)
{
    // Every exchange is stamped on this clock from its start on.
    if (!m_clock.isValid())
        m_clock.start();
    moved(pending);
    const int limitMs = pending.limits.inactivityTimeoutMs;
    if (limitMs <= 0)
        return;
    // One timer for all exchanges, rather than one restarted on every signal
    // of every exchange: it looks often enough to end a stalled exchange
    // within a quarter of its limit.
    if (m_timer == nullptr) {
        m_timer = new QTimer(m_owner);
        QObject::connect(m_timer, &QTimer::timeout, m_owner, [this] { sweep(); });
    }
    const int interval = std::clamp(limitMs / 4, 10, 1000);
    if (!m_timer->isActive() || m_timer->interval() > interval)
        m_timer->start(interval);
}

void InactivityWatch::moved(PendingHttpRequest& pending)
{
    pending.last_moved_ms = m_clock.elapsed();
}

void InactivityWatch::sweep()
{
    const qint64 now = m_clock.elapsed();
    const Exchanges snapshot = m_exchanges;
    for (auto it = snapshot.cbegin(); it != snapshot.cend(); ++it) {
        const int limit = it.value()->limits.inactivityTimeoutMs;
        if (limit > 0 && now - it.value()->last_moved_ms >= limit)
            m_stalled(it.key(), QStringLiteral("no data for %1 ms, exchange aborted;").arg(limit));
    }
    if (m_exchanges.isEmpty())
        m_timer->stop();
}

} // namespace QuorvelSdk::detail
