#include "sdk/json/uuid.h"

#include "sdk/json/hex_digit.h"

namespace tarsion {
namespace {

constexpr char kDigits[] = "0123456789abcdef";

constexpr bool is_dash_position(std::size_t i) noexcept
{
    return i == 8 || i == 13 || i == 18 || i == 23;
}

} // namespace

void append_uuid(std::string& out, const uuid& id)
{
    char text[36];
    std::size_t digit = 0;
    for (std::size_t i = 0; i < 36; ++i) {
        if (is_dash_position(i)) {
            text[i] = '-';
            continue;
        }
        const std::uint64_t word = digit < 16 ? id.high : id.low;
        const unsigned shift = 60 - 4 * static_cast<unsigned>(digit % 16);
        text[i] = kDigits[(word >> shift) & 0xF];
        ++digit;
    }
    out.append(text, sizeof text);
}

std::string format_uuid(const uuid& id)
{
    std::string out;
    out.reserve(36);
    append_uuid(out, id);
    return out;
}

bool parse_uuid(std::string_view text, uuid& out) noexcept
{
    out = {};
    if (text.size() != 36)
        return false;
    uuid parsed;
    std::size_t digit = 0;
    for (std::size_t i = 0; i < 36; ++i) {
        if (is_dash_position(i)) {
            if (text[i] != '-')
                return false;
            continue;
        }
        const int v = detail::hex_digit(text[i]);
        if (v < 0)
            return false;
        std::uint64_t& word = digit < 16 ? parsed.high : parsed.low;
        word = (word << 4) | static_cast<std::uint64_t>(v);
        ++digit;
    }
    out = parsed;
    return true;
}

} // namespace tarsion
