// The portable checked arithmetic must agree with the compiler's builtins,
// which the SDK uses where they exist: a compiler without them gets the
// portable forms, and the JSON reader's integers depend on them.
#include <cstdint>
#include <limits>

#include <gtest/gtest.h>

#include "sdk/json/compiler.h"

namespace {

using namespace tarsion::compiler;

template <class T>
void expectPortableMatchesBuiltins()
{
    constexpr T max = std::numeric_limits<T>::max();
    constexpr T min = std::numeric_limits<T>::min();
    const T values[] = {min,
                        static_cast<T>(min + 1),
                        static_cast<T>(min / 2),
                        static_cast<T>(min / 10 - 1),
                        -10,
                        -3,
                        -1,
                        0,
                        1,
                        2,
                        3,
                        10,
                        static_cast<T>(max / 10 + 1),
                        static_cast<T>(max / 2),
                        static_cast<T>(max - 1),
                        max};
    for (const T a : values) {
        for (const T b : values) {
            T builtin = 7;
            T portable = 7;
            ASSERT_EQ(portable_add_overflow(a, b, portable), __builtin_add_overflow(a, b, &builtin))
                << a << " + " << b;
            if (!__builtin_add_overflow(a, b, &builtin)) {
                EXPECT_EQ(portable, builtin) << a << " + " << b;
            }
            ASSERT_EQ(portable_sub_overflow(a, b, portable), __builtin_sub_overflow(a, b, &builtin))
                << a << " - " << b;
            if (!__builtin_sub_overflow(a, b, &builtin)) {
                EXPECT_EQ(portable, builtin) << a << " - " << b;
            }
            ASSERT_EQ(portable_mul_overflow(a, b, portable), __builtin_mul_overflow(a, b, &builtin))
                << a << " * " << b;
            if (!__builtin_mul_overflow(a, b, &builtin)) {
                EXPECT_EQ(portable, builtin) << a << " * " << b;
            }
        }
    }
}

TEST(CheckedArithmetic, PortableFormsAgreeWithTheBuiltinsAtEveryEdge)
{
    expectPortableMatchesBuiltins<std::int64_t>();
    expectPortableMatchesBuiltins<std::int32_t>();
    expectPortableMatchesBuiltins<std::int8_t>();
}

TEST(CheckedArithmetic, OverflowLeavesTheResultUntouched)
{
    std::int64_t out = 42;
    EXPECT_TRUE(portable_mul_overflow<std::int64_t>(std::numeric_limits<std::int64_t>::min(), -1, out));
    EXPECT_TRUE(portable_sub_overflow<std::int64_t>(std::numeric_limits<std::int64_t>::min(), 1, out));
    EXPECT_EQ(out, 42);
}

} // namespace
