#pragma once

// Everything the SDK asks of a compiler beyond standard C++23, in one place.
// Each has a plain fallback, so that any conforming compiler builds the SDK;
// g++ and clang get the hints that make the JSON layer fast.

#include <concepts>
#include <limits>

#if defined(__has_builtin)
#define QUORVEL_HAS_BUILTIN(name) __has_builtin(name)
#else
#define QUORVEL_HAS_BUILTIN(name) 0
#endif

#if defined(__GNUC__) || defined(__clang__)
// For the few hot helpers the optimiser would otherwise leave out of line.
#define QUORVEL_ALWAYS_INLINE [[gnu::always_inline]] inline
#define QUORVEL_PRAGMA(text) _Pragma(#text)
// Unrolls the loop that follows `count` times.
#define QUORVEL_UNROLL(count) QUORVEL_PRAGMA(GCC unroll count)
#else
#define QUORVEL_ALWAYS_INLINE inline
#define QUORVEL_UNROLL(count)
#endif

namespace tarsion::detail::compiler {

// Asks for the cache line holding `address` ahead of its use; only a hint.
inline void prefetch([[maybe_unused]] const void* address) noexcept
{
#if QUORVEL_HAS_BUILTIN(__builtin_prefetch)
    __builtin_prefetch(address);
#endif
}

// The checked arithmetic of signed integers: true when the exact result does
// not fit, `out` untouched then. The portable forms are always compiled, so
// that they are tested wherever the builtins are used instead.
template <std::signed_integral T>
constexpr bool portable_add_overflow(T a, T b, T& out) noexcept
{
    constexpr T max = std::numeric_limits<T>::max();
    constexpr T min = std::numeric_limits<T>::min();
    if ((b > 0 && a > max - b) || (b < 0 && a < min - b))
        return true;
    out = static_cast<T>(a + b);
    return false;
}

template <std::signed_integral T>
constexpr bool portable_sub_overflow(T a, T b, T& out) noexcept
{
    constexpr T max = std::numeric_limits<T>::max();
    constexpr T min = std::numeric_limits<T>::min();
    if ((b < 0 && a > max + b) || (b > 0 && a < min + b))
        return true;
    out = static_cast<T>(a - b);
    return false;
}

template <std::signed_integral T>
constexpr bool portable_mul_overflow(T a, T b, T& out) noexcept
{
    constexpr T max = std::numeric_limits<T>::max();
    constexpr T min = std::numeric_limits<T>::min();
    const bool overflows =
        a > 0 ? (b > 0 ? a > max / b : b < min / a) : (b > 0 ? a < min / b : a != 0 && b < max / a);
    if (overflows)
        return true;
    out = static_cast<T>(a * b);
    return false;
}

template <std::signed_integral T>
constexpr bool add_overflow(T a, T b, T& out) noexcept
{
#if QUORVEL_HAS_BUILTIN(__builtin_add_overflow)
    return __builtin_add_overflow(a, b, &out);
#else
    return portable_add_overflow(a, b, out);
#endif
}

template <std::signed_integral T>
constexpr bool sub_overflow(T a, T b, T& out) noexcept
{
#if QUORVEL_HAS_BUILTIN(__builtin_sub_overflow)
    return __builtin_sub_overflow(a, b, &out);
#else
    return portable_sub_overflow(a, b, out);
#endif
}

template <std::signed_integral T>
constexpr bool mul_overflow(T a, T b, T& out) noexcept
{
#if QUORVEL_HAS_BUILTIN(__builtin_mul_overflow)
    return __builtin_mul_overflow(a, b, &out);
#else
    return portable_mul_overflow(a, b, out);
#endif
}

} // namespace tarsion::detail::compiler
