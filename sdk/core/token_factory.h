#pragma once

#include <string>

#include "sdk/core/error.h"

namespace tarsion {

// Where the tenant takes its bearer tokens from.
class token_factory
{
public:
    virtual ~token_factory() = default;
    // The current access token; empty when there is none.
    virtual std::string get_token() = 0;
    // A token to use instead of `failed_token`, which the server refused.
    virtual expected<std::string> refresh_token(const std::string& failed_token) = 0;
};

} // namespace tarsion
