#pragma once

#include <string>
#include <string_view>

#include "sdk/core/header_list.h"

namespace tarsion::detail {

// The steps of the tenant's pipeline that make a request from a call.

// The URL of a request: the path template with the business id put in,
// joined to the base.
//
// The business id is `id` alone, or `id` + "." + `suffix` when both are
// non-empty. It replaces the first "{businessId}" standing before any "?";
// an empty one removes the placeholder and the character after it (unless
// the placeholder starts the template), so no double slash is left.
//
// A path starting with "/" is appended to the base with exactly one slash
// between them when the base ends with one; any other path is a whole URL.
std::string request_url(const std::string& base_url, const std::string& path_template, const std::string& id,
                        const std::string& suffix);

// The caller's headers without any "Authorization", plus "Bearer <token>"
// when there is a token.
http::header_list with_authorization(const http::header_list& headers, const std::string& token);

// The first header whose name or value holds a carriage return, a line
// feed or a NUL, which would let it end the header early or forge another;
// null when there is none.
const http::header* unsafe_header(const http::header_list& headers);

// Whether `text` holds a carriage return, a line feed or a NUL.
bool breaks_framing(std::string_view text);

} // namespace tarsion::detail
