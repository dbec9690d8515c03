#include "sdk/core/standard_retry_policy.h"

namespace tarsion {

void use_standard_retry_policy(tenant_base& settings)
{
    settings.retry_verbs = {"PUT", "GET", "TRACE", "HEAD", "OPTIONS", "DELETE"};
    settings.retry_statuses = {403, 429, 500, 502, 503};
    settings.retry_delays = {1, 3, 5};
}

} // namespace tarsion
