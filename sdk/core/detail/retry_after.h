#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace tarsion::detail {

// A "Retry-After" value as the pipeline understands it: an optional "-" and
// decimal digits only, within the signed 32-bit range. HTTP dates, blanks and
// fractions are not understood.
std::optional<std::int32_t> parse_retry_after(std::string_view text) noexcept;

} // namespace tarsion::detail
