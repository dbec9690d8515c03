#pragma once

#include "HttpReply.h"

#include <QtGlobal>

class QHttpServerResponder;
class QObject;

namespace QuorvelEmulator {

// How a reply leaves the emulator. The ordinary case is "all at once"; the
// other cases are how faults misbehave on the wire, and a client under test
// must see them exactly as a flaky network would show them.
struct Delivery
{
    enum class Cut {
        None,     // the whole reply
        Close,    // `cutAt` body bytes, then the connection is dropped at once
        Truncate, // Content-Length promises more than the `cutAt` bytes sent, then a close
        Stall,    // `cutAt` body bytes, a pause of `stallMs`, then the rest
    };

    // Before the first byte of the reply, without holding up other requests.
    int delayMs = 0;
    Cut cut = Cut::None;
    qint64 cutAt = 0;
    int stallMs = 0;
};

// Writes `reply` through `responder` as `delivery` says. Anything delayed is
// run from timers owned by `context`; a client that hangs up in the
// meantime is simply not written to.
void deliverReply(QObject* context, QHttpServerResponder&& responder, HttpReply reply,
                  Delivery delivery);

} // namespace QuorvelEmulator
