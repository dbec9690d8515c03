#pragma once

#include <chrono>

namespace QuorvelStress {

inline constexpr int kCycles = 200;
inline constexpr int kResolutionsPerCycle = 8;
// Long enough that the destruction starts while replies are still on their
// way, short enough that 200 cycles, each waiting for two rounds of replies
// (eight resolutions on four pool threads), stay within a minute or so.
inline constexpr int kReplyDelayMs = 30;
// One cycle normally takes a small fraction of this, also under a sanitizer.
inline constexpr std::chrono::milliseconds kCycleLimit{20000};

// Qt's number for a cancelled operation, which the network service hands to
// senders it wakes on shutdown.
inline constexpr int kOperationCanceled = 5;

inline constexpr const char* kTicketTitle = "Support";
inline constexpr const char* kTicketReply =
    R"([{"id":"5885e99b-527d-4893-af14-46c61299024e","entityTypeKey":"BUSINESS_TICKET",)"
    R"("stateKey":"OPEN","version":3,"attributeValues":[{"attributeKey":"TICKET_TITLE",)"
    R"("valueLocales":[{"key":"EN_US","display":"Support","value":"Support"}]}]}])";

} // namespace QuorvelStress
