#pragma once

#include "Faults.h"

#include <QByteArray>

namespace QuorvelEmulator {

// What a fault does to the reply, one function per kind, grouped by family
// in the files named below. Each gets the reply the request would have had,
// already held back by the fault's `delayMs`, and answers what goes out
// instead; `retryAfter` and `location` are added to whatever it answers.

// The reply as it is: the fault works through its delay or on the server.
PlannedReply keepReply(const Fault& fault, PlannedReply normal);

// ReplacingFaults.cpp: a reply that owes nothing to the normal one.
PlannedReply replaceWithStatus(const Fault& fault, PlannedReply normal);
PlannedReply replaceWithPage(const Fault& fault, PlannedReply normal);
PlannedReply replaceWithNesting(const Fault& fault, PlannedReply normal);
PlannedReply replaceWithElements(const Fault& fault, PlannedReply normal);
PlannedReply replaceWithAttributes(const Fault& fault, PlannedReply normal);

// TimingFaults.cpp: the normal reply, cut or paused on the wire.
PlannedReply stallMidBody(const Fault& fault, PlannedReply normal);
PlannedReply closeMidBody(const Fault& fault, PlannedReply normal);
PlannedReply truncateBody(const Fault& fault, PlannedReply normal);
PlannedReply trickleBody(const Fault& fault, PlannedReply normal);

// ReshapingFaults.cpp: the normal reply bent into what a hostile or
// careless service might send.
PlannedReply wrapInObject(const Fault& fault, PlannedReply normal);
PlannedReply enlarge(const Fault& fault, PlannedReply normal);
PlannedReply breakUtf8(const Fault& fault, PlannedReply normal);
PlannedReply retitle(const Fault& fault, PlannedReply normal);
PlannedReply addFillerHeaders(const Fault& fault, PlannedReply normal);

// StreamingFaults.cpp: replies too big to hold, written as the client reads.
PlannedReply flood(const Fault& fault, PlannedReply normal);
PlannedReply endlessHeaderLine(const Fault& fault, PlannedReply normal);

// `unit` over and over, exactly `size` bytes of it.
QByteArray repeatedTo(const QByteArray& unit, qint64 size);

} // namespace QuorvelEmulator
