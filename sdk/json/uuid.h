#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tarsion {

// A UUID as the SDK carries it: two 64-bit words, the high word holding the
// first 16 hexadecimal digits of the text form.
struct uuid
{
    std::uint64_t high = 0;
    std::uint64_t low = 0;

    constexpr bool is_nil() const noexcept { return high == 0 && low == 0; }
    friend constexpr bool operator==(const uuid&, const uuid&) noexcept = default;
};

// 36 characters, 8-4-4-4-12 lower-case hexadecimal digits.
std::string format_uuid(const uuid& id);
void append_uuid(std::string& out, const uuid& id);

// Accepts exactly the 8-4-4-4-12 form with digits of either case. On failure
// `out` is nil.
bool parse_uuid(std::string_view text, uuid& out) noexcept;

} // namespace tarsion
