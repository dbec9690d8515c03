#pragma once

#include <utility>

#include <QByteArray>
#include <QElapsedTimer>
#include <QList>
#include <QSemaphore>
#include <QUrl>

#include "sdk/core/http_base.h"
#include "sdk/core/http_response.h"
#include "sdk/qt/ExchangeCancellation.h"
#include "sdk/qt/HttpLimits.h"

namespace QuorvelSdk {

// One exchange handed from a sending thread to the network thread. It lives
// on the sender's stack; the network thread fills `response` and `result` and
// then releases `done` exactly once, after which it never touches it again.
struct PendingHttpRequest
{
    QByteArray verb;
    QUrl url;
    QList<std::pair<QByteArray, QByteArray>> headers;
    // The sender's, read on the network thread through an HttpBodyDevice;
    // null for a request without a body.
    tarsion::http::http_base::body* body = nullptr;
    // What the body announced, -1 when it did not.
    qint64 content_length = -1;
    bool disable_redirects = false;
    // What cancels this exchange, if anything (the sender's resolution, its chain).
    const ExchangeCancellation* cancellation = nullptr;
    tarsion::http_response* response = nullptr;
    qint32 result = 0;
    QSemaphore done{0};
    // Copied from the service when the exchange is posted.
    HttpLimits limits;
    // Set on the network thread when this layer itself ends the exchange
    // (limit exceeded, shutdown): the error number the sender gets.
    qint32 given_up = 0;
    bool isCancelled() const { return cancellation != nullptr && cancellation->isCancelled(); }
    // Started when the network thread takes the exchange up.
    QElapsedTimer timer;
    // When the network thread last saw the exchange move, on its own clock.
    qint64 last_moved_ms = 0;
};

} // namespace QuorvelSdk
