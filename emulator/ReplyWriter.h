#pragma once

#include "HttpReply.h"

#include <QtGlobal>

#include <optional>

class QHttpServerResponder;
class QObject;

namespace QuorvelEmulator {

// No streamed reply goes beyond this, whatever a fault asks for: a client
// that never gives up must not keep the emulator busy for ever.
constexpr qint64 kMaxStreamBytes = 4LL * 1024 * 1024 * 1024;

// How a reply leaves the emulator. The ordinary case is "all at once"; the
// other cases are how faults misbehave on the wire, and a client under test
// must see them exactly as a flaky network would show them.
struct Delivery
{
    enum class Cut
    {
        None, // the whole reply
        Close, // `cutAt` body bytes, then the connection is dropped at once
        Truncate, // Content-Length promises more than the `cutAt` bytes sent, then a close
        Stall, // `cutAt` body bytes, a pause of `stallMs`, then the rest
        Trickle, // the body a byte at a time, one every `stallMs`
    };

    // Before the first byte of the reply, without holding up other requests.
    int delayMs = 0;
    Cut cut = Cut::None;
    qint64 cutAt = 0;
    int stallMs = 0;

    // Replies too big to hold, written piece by piece only as fast as the
    // client takes them in. `reply` gives the status and headers.
    enum class Stream
    {
        None,
        Flood, // "[" and JSON filler: `streamBytes` under a Content-Length,
               // or endless chunks when there is no `streamBytes`
        HeaderLine, // a header line "X-Endless: xxx..." that never ends; after
                    // `streamBytes` filler bytes, silence on an open connection
    };
    Stream stream = Stream::None;
    // None: until the client hangs up or kMaxStreamBytes, then a close.
    std::optional<qint64> streamBytes;
};

// Writes `reply` through `responder` as `delivery` says. Anything delayed is
// run from timers owned by `context`; a client that hangs up in the
// meantime is simply not written to.
void deliverReply(QObject* context, QHttpServerResponder&& responder, HttpReply reply, Delivery delivery);

// Streamed replies on connections of `context` that are still being written.
qsizetype streamsInProgress(const QObject* context);

} // namespace QuorvelEmulator
