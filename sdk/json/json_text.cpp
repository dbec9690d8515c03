#include "sdk/json/json_text.h"

#include <limits>
#include <new>
#include <stdexcept>

namespace tarsion {

char* json_text::allocate(std::size_t n)
{
    if (n >= std::numeric_limits<std::uint32_t>::max())
        throw std::length_error("JSON text longer than 4 GiB");
    return static_cast<char*>(::operator new(n + 1));
}

void json_text::assign(std::string_view text)
{
    assign_with(text.size(), [text](char* buffer) noexcept {
        if (!text.empty()) // an empty view may hold no pointer at all
            std::memcpy(buffer, text.data(), text.size());
        return text.size();
    });
}

} // namespace tarsion
