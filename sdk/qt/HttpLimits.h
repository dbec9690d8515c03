#pragma once

#include <array>
#include <utility>

#include <QtGlobal>

namespace QuorvelSdk {

// What one exchange may cost at most. A service that goes beyond a limit,
// by accident or on purpose, ends the exchange with a transport error
// instead of holding a thread or the host's memory for ever.
struct HttpLimits
{
    // Reply body bytes (after any content decoding) kept at most; a reply
    // that announces or sends more is aborted. The duty channel's query is
    // answered with a few kilobytes. Whatever a reply holds, reading it
    // costs at most about 170 times its size (one entity with a million
    // attribute values is the worst shape), so that this cap keeps the host
    // below 512 MB.
    qint64 maxReplyBytes = 2LL * 1024 * 1024;
    // An exchange during which nothing at all is sent or received for this
    // long is aborted. 0 turns the limit off.
    qint64 inactivityTimeoutMs = 60 * 1000;
    // An exchange not over this long after it began is aborted, however it
    // moves: a reply trickled a byte at a time ends too. 0 turns it off.
    qint64 deadlineMs = 120 * 1000;

    // Each limit by the name a host gives it, as a property of its
    // application object; a host that leaves one unset keeps the default.
    static constexpr std::array<std::pair<const char*, qint64 HttpLimits::*>, 3> kByName{{
        {"maxReplyBytes", &HttpLimits::maxReplyBytes},
        {"inactivityTimeoutMs", &HttpLimits::inactivityTimeoutMs},
        {"exchangeDeadlineMs", &HttpLimits::deadlineMs},
    }};
};

} // namespace QuorvelSdk
