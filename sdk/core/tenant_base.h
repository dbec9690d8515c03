#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "sdk/core/http_base.h"
#include "sdk/core/random_base.h"

namespace tarsion {

// The settings of a connection to one business on the entity service.
struct tenant_base
{
    // Scheme, host and optional prefix, e.g. "https://service.example/base".
    std::string base_url;
    // May be empty; every call then fails.
    std::shared_ptr<http::http_base> http_client;
    std::shared_ptr<random::random_base> random;
    std::string business_id;
    // Optional second part, joined to the id with ".".
    std::string business_id_suffix;
    // One entry, in seconds, per allowed retry.
    std::vector<std::uint32_t> retry_delays;
    std::set<std::uint32_t> retry_statuses;
    std::set<std::string, std::less<>> retry_verbs;
};

} // namespace tarsion
