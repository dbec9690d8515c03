#pragma once

#include <cstddef>
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

} // namespace tarsion::testing
