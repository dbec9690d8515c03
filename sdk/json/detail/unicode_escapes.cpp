#include "sdk/json/detail/unicode_escapes.h"

#include <cstdint>
#include <cstring>

#include "sdk/json/detail/hex_digit.h"

namespace tarsion::detail {
namespace {

bool is_escape_start(std::string_view text, std::size_t i) noexcept
{
    return text[i] == '\\' && i + 1 < text.size() && text[i + 1] == 'u';
}

// Reads the four digits after a `\u` at `i`.
bool read_unit(std::string_view text, std::size_t i, std::uint32_t& unit) noexcept
{
    if (i + 6 > text.size())
        return false;
    unit = 0;
    for (std::size_t k = i + 2; k < i + 6; ++k) {
        const int d = detail::hex_digit(text[k]);
        if (d < 0)
            return false;
        unit = (unit << 4) | static_cast<std::uint32_t>(d);
    }
    return true;
}

bool is_high_surrogate(std::uint32_t u) noexcept
{
    return u >= 0xD800 && u <= 0xDBFF;
}
bool is_low_surrogate(std::uint32_t u) noexcept
{
    return u >= 0xDC00 && u <= 0xDFFF;
}

char kept_escape(std::uint32_t unit) noexcept
{
    switch (unit) {
    case '"': return '"';
    case '\\': return '\\';
    case '\b': return 'b';
    case '\f': return 'f';
    case '\n': return 'n';
    case '\r': return 'r';
    case '\t': return 't';
    default: return 0;
    }
}

// One escape at `i`: its length in the text, the low surrogate when it opens
// a pair, and whether it is well-formed.
struct escape
{
    std::size_t length = 0;
    std::uint32_t unit = 0;
    std::uint32_t low = 0;
};

bool read_escape(std::string_view text, std::size_t i, escape& e) noexcept
{
    if (!read_unit(text, i, e.unit))
        return false;
    e.length = 6;
    if (!is_high_surrogate(e.unit))
        return true;
    if (!is_escape_start(text, i + 6) || !read_unit(text, i + 6, e.low) || !is_low_surrogate(e.low))
        return false;
    e.length = 12;
    return true;
}

void append_utf8(std::string& out, const escape& e)
{
    const std::uint32_t u = e.unit;
    if (u == 0) {
        out.push_back('\0');
    } else if (u < 0x80) {
        if (const char kept = kept_escape(u)) {
            out.push_back('\\');
            out.push_back(kept);
        } else {
            out.push_back(static_cast<char>(u));
        }
    } else if (u < 0x800) {
        out.push_back(static_cast<char>(0xC0 | (u >> 6)));
        out.push_back(static_cast<char>(0x80 | (u & 0x3F)));
    } else if (is_high_surrogate(u)) {
        const std::uint32_t cp = (((u - 0xD800) << 10) | (e.low - 0xDC00)) + 0x10000;
        out.push_back(static_cast<char>(0xF0 | (cp >> 18)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else {
        out.push_back(static_cast<char>(0xE0 | (u >> 12)));
        out.push_back(static_cast<char>(0x80 | ((u >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (u & 0x3F)));
    }
}

// Finds the next `\u` at or after `from`, or npos.
std::size_t find_escape(std::string_view text, std::size_t from) noexcept
{
    while (from < text.size()) {
        const void* hit = std::memchr(text.data() + from, '\\', text.size() - from);
        if (hit == nullptr)
            return std::string_view::npos;
        const std::size_t i = static_cast<std::size_t>(static_cast<const char*>(hit) - text.data());
        if (is_escape_start(text, i))
            return i;
        from = i + 1;
    }
    return std::string_view::npos;
}

} // namespace

bool decode_unicode_escapes(std::string_view text, std::string& out)
{
    // Measuring scan: every escape must be well-formed before any is decoded.
    std::size_t first = find_escape(text, 0);
    if (first == std::string_view::npos)
        return false;
    for (std::size_t i = first; i != std::string_view::npos;) {
        escape e;
        if (!read_escape(text, i, e))
            return false;
        i = find_escape(text, i + e.length);
    }

    std::string decoded;
    decoded.reserve(text.size());
    std::size_t copied = 0;
    for (std::size_t i = first; i != std::string_view::npos;) {
        escape e;
        read_escape(text, i, e);
        decoded.append(text.data() + copied, i - copied);
        append_utf8(decoded, e);
        copied = i + e.length;
        i = find_escape(text, copied);
    }
    decoded.append(text.data() + copied, text.size() - copied);
    out = std::move(decoded);
    return true;
}

} // namespace tarsion::detail
