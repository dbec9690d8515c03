#include "sdk/core/detail/retry_after.h"

#include <charconv>

namespace tarsion::detail {

std::optional<std::int32_t> parse_retry_after(std::string_view text) noexcept
{
    // from_chars takes exactly this grammar (no "+", no blanks), reports
    // overflow, and leaves trailing bytes for the check below.
    std::int32_t value = 0;
    const char* end = text.data() + text.size();
    const auto [stop, ec] = std::from_chars(text.data(), end, value, 10);
    if (ec != std::errc() || stop != end)
        return std::nullopt;
    return value;
}

} // namespace tarsion::detail
