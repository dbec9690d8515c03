#pragma once

#include <charconv>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarsion::testing {

// Every text of at most `max_length` bytes over `alphabet`: small enough to
// walk whole, and each parser's corner cases are among them.
inline std::vector<std::string> every_text_over(std::string_view alphabet, std::size_t max_length)
{
    std::vector<std::string> texts;
    for (std::size_t n = 0, count = 1; n <= max_length; ++n, count *= alphabet.size()) {
        for (std::size_t code = 0; code < count; ++code) {
            std::string text;
            for (std::size_t c = code, k = 0; k < n; ++k, c /= alphabet.size())
                text.push_back(alphabet[c % alphabet.size()]);
            texts.push_back(std::move(text));
        }
    }
    return texts;
}

// What std::from_chars reads from the whole of `text`, or nothing when it
// stops short or fails: the reference the integer parsers are held to.
template <class Integer>
std::optional<Integer> from_chars_whole(std::string_view text)
{
    Integer value{};
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (ec != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return value;
}

} // namespace tarsion::testing
