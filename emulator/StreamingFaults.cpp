#include "FaultEffects.h"

namespace QuorvelEmulator {

// The writer makes up the body; the reply gives only the status and headers.
PlannedReply flood(const Fault& fault, PlannedReply normal)
{
    normal.reply = HttpReply{200, {{"Content-Type", "application/json"}}, {}};
    normal.delivery.stream = Delivery::Stream::Flood;
    normal.delivery.streamBytes = fault.bytes;
    return normal;
}

PlannedReply endlessHeaderLine(const Fault& fault, PlannedReply normal)
{
    normal.reply = HttpReply{200, {}, {}};
    normal.delivery.stream = Delivery::Stream::HeaderLine;
    normal.delivery.streamBytes = fault.bytes;
    return normal;
}

} // namespace QuorvelEmulator
