#pragma once

#include <cstdint>
#include <expected>
#include <string>

#include "sdk/core/header_list.h"

namespace tarsion {

// Error categories that the SDK core produces.
namespace error_kind {
// The API has no tenant, or the tenant no HTTP client.
inline constexpr std::uint32_t missing_configuration = 2;
// No HTTP status was obtained (the code is the transport's number), or a
// token renewal produced no token.
inline constexpr std::uint32_t transport = 4;
// A typed call got a status outside 200 to 299 (the code is the status).
inline constexpr std::uint32_t http_status = 5;
// A status error met while renewing the token after a 401.
inline constexpr std::uint32_t token_renewal_status = 6;
// A 2xx body that is not JSON, or JSON of the wrong shape.
inline constexpr std::uint32_t invalid_body = 7;
} // namespace error_kind

struct error
{
    std::uint32_t kind = 0;
    std::uint32_t code = 0;
    std::string message;
    // The reply's headers for status errors, empty otherwise.
    http::header_list details;

    friend bool operator==(const error&, const error&) = default;
};

// Every SDK operation returns its value or an error, never both.
template <class T>
using expected = std::expected<T, error>;

inline std::unexpected<error> make_error(std::uint32_t kind, std::uint32_t code = 0, std::string message = {},
                                         http::header_list details = {})
{
    return std::unexpected<error>(error{kind, code, std::move(message), std::move(details)});
}

} // namespace tarsion
