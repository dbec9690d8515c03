#pragma once

#include "sdk/core/tenant_base.h"

namespace tarsion {

// The retry policy the chat plug-in uses, for anyone who wants the same:
// up to three retries, after 1, 3 and 5 seconds, on 403, 429, 500, 502 and
// 503, of PUT, GET, TRACE, HEAD, OPTIONS and DELETE. POST is deliberately
// absent (a query is not repeated unasked), and 403 deliberately present.
void use_standard_retry_policy(tenant_base& settings);

} // namespace tarsion
