#pragma once

#include <string>
#include <string_view>

#include "sdk/core/header_list.h"

namespace tarsion::detail {

// The steps of the tenant's pipeline that make a request from a call.

// `id` alone, or `id` + "." + `suffix` when both are non-empty.
std::string business_id_value(const std::string& id, const std::string& suffix);

// Replaces the first "{businessId}" standing before any "?". An empty id
// removes the placeholder and the character after it (unless the placeholder
// starts the template), so no double slash is left.
std::string substitute_business_id(const std::string& path_template, const std::string& id);

// A path starting with "/" is appended to the base with exactly one slash
// between them when the base ends with one; any other path is a whole URL.
std::string join_url(const std::string& base_url, const std::string& path);

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
