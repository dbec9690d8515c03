#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "sdk/core/tenant_base.h"

namespace tarsion {

// The retry policy the chat plug-in uses, for anyone who wants the same: a
// request whose verb is one of these, answered with one of these statuses,
// is sent again after each of these waits in turn. POST is deliberately
// not among the verbs (a query is not repeated unasked), and 403
// deliberately among the statuses.
inline constexpr std::array<std::string_view, 6> standard_retry_verbs{"PUT",  "GET",     "TRACE",
                                                                      "HEAD", "OPTIONS", "DELETE"};
inline constexpr std::array<std::uint32_t, 5> standard_retry_statuses{403, 429, 500, 502, 503};
// Seconds.
inline constexpr std::array<std::uint32_t, 3> standard_retry_delays{1, 3, 5};

void use_standard_retry_policy(tenant_base& settings);

} // namespace tarsion
