#pragma once

#include <QtGlobal>

namespace QuorvelSdk {

// What one exchange may cost at most. A service that goes beyond either
// limit, by accident or on purpose, ends the exchange with a transport
// error instead of holding a thread or the host's memory for ever.
struct HttpLimits
{
    // Reply body bytes (after any content decoding) kept at most; a reply
    // that announces or sends more is aborted. Entity queries are answered
    // with at most a few megabytes in practice.
    qint64 maxReplyBytes = 64LL * 1024 * 1024;
    // An exchange during which nothing at all is sent or received for this
    // long is aborted. A slow reply that keeps sending is never cut. 0 turns
    // the limit off.
    int inactivityTimeoutMs = 60 * 1000;
};

} // namespace QuorvelSdk
