#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

// Scanning text eight bytes at a time. A test on a word marks the bytes it
// finds with their high bit. The usual tests subtract from every byte at once,
// so a borrow can also mark a byte *above* a truly marked one, but never one
// below it: in memory order on a little-endian machine, the first mark is
// exact and every byte before it is truly unmarked.
namespace tarsion::detail::byte_words {

inline constexpr std::uint64_t kOnes = 0x0101010101010101ULL;
inline constexpr std::uint64_t kHighBits = 0x8080808080808080ULL;

// The eight bytes at `p`, which must all lie inside the buffer.
inline std::uint64_t load(const char* p) noexcept
{
    std::uint64_t w;
    std::memcpy(&w, p, sizeof w);
    return w;
}

// How many leading bytes (in memory order) of a word whose marks are `marks`
// (not zero) are surely unmarked.
inline std::size_t clean_prefix(std::uint64_t marks) noexcept
{
    if constexpr (std::endian::native == std::endian::little)
        return static_cast<std::size_t>(std::countr_zero(marks)) / 8;
    else
        return 0; // a borrow may mark the earliest bytes falsely: go byte by byte
}

} // namespace tarsion::detail::byte_words
