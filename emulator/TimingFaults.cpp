#include "FaultEffects.h"

namespace QuorvelEmulator {

namespace {

// Without `bytes`, half the body: enough for a client to have started on it.
PlannedReply cut(const Fault& fault, PlannedReply normal, Delivery::Cut how)
{
    normal.delivery.cut = how;
    normal.delivery.cutAt = fault.bytes.value_or(normal.reply.body.size() / 2);
    return normal;
}

} // namespace

PlannedReply keepReply(const Fault&, PlannedReply normal)
{
    return normal;
}

// The pause is in the middle of the body, not before it.
PlannedReply stallMidBody(const Fault& fault, PlannedReply normal)
{
    normal.delivery.delayMs = 0;
    normal.delivery.stallMs = fault.delayMs;
    return cut(fault, std::move(normal), Delivery::Cut::Stall);
}

PlannedReply closeMidBody(const Fault& fault, PlannedReply normal)
{
    return cut(fault, std::move(normal), Delivery::Cut::Close);
}

PlannedReply truncateBody(const Fault& fault, PlannedReply normal)
{
    return cut(fault, std::move(normal), Delivery::Cut::Truncate);
}

// Never idle, never done in time: what only a total deadline ends.
PlannedReply trickleBody(const Fault& fault, PlannedReply normal)
{
    normal.delivery.delayMs = 0;
    normal.delivery.stallMs = fault.delayMs;
    normal.delivery.cut = Delivery::Cut::Trickle;
    return normal;
}

} // namespace QuorvelEmulator
