#include "sdk/qt/detail/TimeLimits.h"

#include <algorithm>
#include <limits>

#include <QTimer>

#include "sdk/qt/TransportErrors.h"

namespace QuorvelSdk::detail {

TimeLimits::TimeLimits(QObject* owner, const Exchanges& exchanges, Ender end)
    : m_owner(owner)
    , m_exchanges(exchanges)
    , m_end(std::move(end))
{
}

void TimeLimits::begin(PendingHttpRequest& pending)
{
    // Every exchange is stamped on this clock from its start on.
    if (!m_clock.isValid())
        m_clock.start();
    moved(pending);
    constexpr qint64 kNone = std::numeric_limits<qint64>::max();
    const qint64 shortest =
        std::min(pending.limits.inactivityTimeoutMs > 0 ? pending.limits.inactivityTimeoutMs : kNone,
                 pending.limits.deadlineMs > 0 ? pending.limits.deadlineMs : kNone);
    if (shortest == kNone)
        return;
    // One timer for all exchanges, rather than one restarted on every signal
    // of every exchange: it looks often enough to end an exchange within a
    // quarter of its shortest limit.
    if (m_timer == nullptr) {
        m_timer = new QTimer(m_owner);
        QObject::connect(m_timer, &QTimer::timeout, m_owner, [this] { sweep(); });
    }
    const int interval = int(std::clamp<qint64>(shortest / 4, 10, 1000));
    if (!m_timer->isActive() || m_timer->interval() > interval)
        m_timer->start(interval);
}

void TimeLimits::moved(PendingHttpRequest& pending)
{
    pending.last_moved_ms = m_clock.elapsed();
}

void TimeLimits::sweep()
{
    const qint64 now = m_clock.elapsed();
    const Exchanges snapshot = m_exchanges;
    for (auto it = snapshot.cbegin(); it != snapshot.cend(); ++it) {
        const HttpLimits& limits = it.value()->limits;
        if (limits.deadlineMs > 0 && it.value()->timer.elapsed() >= limits.deadlineMs) {
            m_end(it.key(), TransportError::DeadlinePassed,
                  QStringLiteral("not over after %1 ms, exchange aborted;").arg(limits.deadlineMs));
        } else if (limits.inactivityTimeoutMs > 0
                   && now - it.value()->last_moved_ms >= limits.inactivityTimeoutMs) {
            m_end(it.key(), TransportError::Stalled,
                  QStringLiteral("no data for %1 ms, exchange aborted;").arg(limits.inactivityTimeoutMs));
        }
    }
    if (m_exchanges.isEmpty())
        m_timer->stop();
}

} // namespace QuorvelSdk::detail
