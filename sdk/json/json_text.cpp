#include "sdk/json/json_text.h"

#include <limits>
#include <new>
#include <ostream>
#include <stdexcept>

namespace tarsion {

char* detail::allocate_text(std::size_t n)
{
    if (n >= std::numeric_limits<std::uint32_t>::max())
        throw std::length_error("JSON text longer than 4 GiB");
    // malloc rather than operator new: no new-handler loop on the way, and
    // the same allocator as the child lists, which grow by realloc.
    void* const block = std::malloc(n + 1);
    if (block == nullptr)
        throw std::bad_alloc();
    return static_cast<char*>(block);
}

std::ostream& detail::print_text(std::ostream& out, std::string_view text)
{
    return out << text;
}

} // namespace tarsion
