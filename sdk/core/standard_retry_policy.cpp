#include "sdk/core/standard_retry_policy.h"

namespace tarsion {

void use_standard_retry_policy(tenant_base& settings)
{
    settings.retry_verbs = {standard_retry_verbs.begin(), standard_retry_verbs.end()};
    settings.retry_statuses = {standard_retry_statuses.begin(), standard_retry_statuses.end()};
    settings.retry_delays = {standard_retry_delays.begin(), standard_retry_delays.end()};
}

} // namespace tarsion
