// A compiler without the overflow builtins gets the portable forms, which
// neither g++ nor clang ever uses: they are checked against the builtins at
// every edge of each width, and must leave the result alone on overflow.
#include <cstdint>
#include <limits>

#include <gtest/gtest.h>

#include "sdk/json/detail/compiler.h"

namespace {

using namespace tarsion::detail::compiler;

template <class T>
void expectPortableMatchesBuiltins()
{
    constexpr T max = std::numeric_limits<T>::max();
    constexpr T min = std::numeric_limits<T>::min();
    const T values[] = {min, T(min + 1), T(min / 2), T(min / 10 - 1), -10,        -3,         -1, 0, 1,
                        2,   3,          10,         T(max / 10 + 1), T(max / 2), T(max - 1), max};
    for (const T a : values) {
        for (const T b : values) {
            T builtin[3] = {};
            const bool overflows[3] = {__builtin_add_overflow(a, b, &builtin[0]),
                                       __builtin_sub_overflow(a, b, &builtin[1]),
                                       __builtin_mul_overflow(a, b, &builtin[2])};
            T portable[3] = {7, 7, 7};
            const bool portableOverflows[3] = {portable_add_overflow(a, b, portable[0]),
                                               portable_sub_overflow(a, b, portable[1]),
                                               portable_mul_overflow(a, b, portable[2])};
            for (int op = 0; op < 3; ++op) {
                SCOPED_TRACE(testing::Message() << +a << " "
                                                << "+-*"[op] << " " << +b);
                ASSERT_EQ(portableOverflows[op], overflows[op]);
                EXPECT_EQ(portable[op], overflows[op] ? T(7) : builtin[op]);
            }
        }
    }
}

TEST(CheckedArithmetic, PortableFormsAgreeWithTheBuiltinsAndKeepTheResultOnOverflow)
{
    expectPortableMatchesBuiltins<std::int64_t>();
    expectPortableMatchesBuiltins<std::int32_t>();
    expectPortableMatchesBuiltins<std::int8_t>();
}

} // namespace
