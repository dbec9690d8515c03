#pragma once

#include <functional>

#include <QElapsedTimer>
#include <QHash>

#include "sdk/qt/PendingHttpRequest.h"

class QNetworkReply;
class QObject;
class QTimer;

namespace QuorvelSdk::detail {

// Ends the exchanges that go beyond their time limits: those during which
// nothing at all moved for their inactivity limit, and those not over by
// their deadline, however they move.
class TimeLimits
{
public:
    using Exchanges = QHash<QNetworkReply*, PendingHttpRequest*>;
    using Ender = std::function<void(QNetworkReply*, qint32 error, const QString& why)>;
    // `exchanges` are those in flight; `end` ends one of them.
    TimeLimits(QObject* owner, const Exchanges& exchanges, Ender end);

    // An exchange has begun, on the clock that starts with the first one.
    void begin(PendingHttpRequest& pending);
    // Any sign of life of an exchange.
    void moved(PendingHttpRequest& pending);

private:
    void sweep();

    QObject* m_owner;
    const Exchanges& m_exchanges;
    Ender m_end;
    // One timer for all exchanges, created with the first that has a limit.
    QTimer* m_timer = nullptr;
    QElapsedTimer m_clock;
};

} // namespace QuorvelSdk::detail
