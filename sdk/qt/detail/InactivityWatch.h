#pragma once

#include <functional>

#include <QElapsedTimer>
#include <QHash>

#include "sdk/qt/PendingHttpRequest.h"

class QNetworkReply;
class QObject;
class QTimer;

namespace QuorvelSdk::detail {

// Ends the exchanges during which nothing at all moved for their inactivity
// limit. A slow reply that keeps sending is never cut.
class InactivityWatch
{
public:
    using Exchanges = QHash<QNetworkReply*, PendingHttpRequest*>;
    // `exchanges` are those in flight; `stalled` ends one of them.
    InactivityWatch(QObject* owner, const Exchanges& exchanges,
                    std::function<void(QNetworkReply*, const QString& why)> stalled);

    // An exchange has begun, on the clock that starts with the first one.
    void begin(PendingHttpRequest& pending);
    // Any sign of life of an exchange.
    void moved(PendingHttpRequest& pending);

private:
    void sweep();

    QObject* m_owner;
    const Exchanges& m_exchanges;
    std::function<void(QNetworkReply*, const QString&)> m_stalled;
    // One timer for all exchanges, created with the first that has a limit.
    QTimer* m_timer = nullptr;
    QElapsedTimer m_clock;
};

} // namespace QuorvelSdk::detail
