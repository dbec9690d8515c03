#include "sdk/json/uuid.h"

#include <array>

#include "sdk/json/detail/compiler.h"
#include "sdk/json/detail/hex_digit.h"

namespace tarsion {
namespace {

constexpr char kDigits[] = "0123456789abcdef";

// Where each of the 32 digits sits in the 8-4-4-4-12 text; the first 16 make
// the high word. A fixed table lets both loops unroll without a test per
// character for the dashes.
constexpr std::array<std::uint8_t, 32> kDigitPositions = [] {
    std::array<std::uint8_t, 32> positions{};
    std::uint8_t at = 0;
    for (std::uint8_t& p : positions) {
        if (at == 8 || at == 13 || at == 18 || at == 23)
            ++at;
        p = at++;
    }
    return positions;
}();

// Every byte's digit value, 0xFF for a byte that is not a digit.
constexpr std::array<std::uint8_t, 256> kDigitValues = [] {
    std::array<std::uint8_t, 256> values{};
    for (unsigned c = 0; c < 256; ++c) {
        const int v = detail::hex_digit(static_cast<char>(c));
        values[c] = v < 0 ? 0xFF : static_cast<std::uint8_t>(v);
    }
    return values;
}();

void format_word(char* text, std::uint64_t word, std::size_t first) noexcept
{
    QUORVEL_UNROLL(16)
    for (std::size_t i = 0; i < 16; ++i)
        text[kDigitPositions[first + i]] = kDigits[(word >> (60 - 4 * i)) & 0xF];
}

// ORs every digit value into `seen`, so one test at the end finds a bad byte.
std::uint64_t parse_word(std::string_view text, std::size_t first, unsigned& seen) noexcept
{
    std::uint64_t word = 0;
    QUORVEL_UNROLL(16)
    for (std::size_t i = 0; i < 16; ++i) {
        const std::uint8_t v = kDigitValues[static_cast<unsigned char>(text[kDigitPositions[first + i]])];
        seen |= v;
        word = (word << 4) | (v & 0xFu);
    }
    return word;
}

} // namespace

void append_uuid(std::string& out, const uuid& id)
{
    char text[36];
    text[8] = text[13] = text[18] = text[23] = '-';
    format_word(text, id.high, 0);
    format_word(text, id.low, 16);
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
    if (text.size() != 36 || text[8] != '-' || text[13] != '-' || text[18] != '-' || text[23] != '-')
        return false;
    unsigned seen = 0;
    const uuid parsed{parse_word(text, 0, seen), parse_word(text, 16, seen)};
    if (seen > 0xF)
        return false;
    out = parsed;
    return true;
}

} // namespace tarsion
