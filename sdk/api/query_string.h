#pragma once

#include <string>
#include <string_view>

namespace tarsion::quorvel::api {

// Keeps A-Z, a-z, 0-9 and "-._~"; every other byte becomes "%XX" with
// upper-case hexadecimal digits.
std::string percent_encode(std::string_view value);

// Appends "name=value" to `path`, introduced by "?" for the first parameter
// and "&" after it. The value must already be encoded.
void append_query_parameter(std::string& path, std::string_view name, std::string_view value);

} // namespace tarsion::quorvel::api
