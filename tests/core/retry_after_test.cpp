#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>

#include "sdk/core/retry_after.h"

namespace tarsion {
namespace {

struct parse_case
{
    const char* name;
    std::string text;
    std::optional<std::int32_t> value;
};

class ParseRetryAfter : public ::testing::TestWithParam<parse_case>
{
};

TEST_P(ParseRetryAfter, AcceptsOnlyPlainDecimalIntegers)
{
    const parse_case& c = GetParam();
    EXPECT_EQ(parse_retry_after(c.text), c.value);
}

INSTANTIATE_TEST_SUITE_P(Accepted, ParseRetryAfter,
                         ::testing::Values(parse_case{"Zero", "0", 0}, parse_case{"MinusZero", "-0", 0},
                                           parse_case{"Sixty", "60", 60}, parse_case{"SixtyOne", "61", 61},
                                           parse_case{"MinusOne", "-1", -1},
                                           parse_case{"LeadingZeros", "0007", 7},
                                           parse_case{"Int32Max", "2147483647", 2147483647},
                                           parse_case{"Int32Min", "-2147483648", -2147483647 - 1}),
                         [](const auto& info) { return std::string(info.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Rejected, ParseRetryAfter,
    ::testing::Values(
        parse_case{"Empty", "", std::nullopt}, parse_case{"MinusAlone", "-", std::nullopt},
        parse_case{"PlusSign", "+5", std::nullopt}, parse_case{"LeadingBlank", " 5", std::nullopt},
        parse_case{"TrailingBlank", "5 ", std::nullopt}, parse_case{"InnerBlank", "1 0", std::nullopt},
        parse_case{"Tab", "\t5", std::nullopt}, parse_case{"Fraction", "1.5", std::nullopt},
        parse_case{"Exponent", "1e2", std::nullopt}, parse_case{"Hex", "0x10", std::nullopt},
        parse_case{"DoubleMinus", "--1", std::nullopt}, parse_case{"Letters", "abc", std::nullopt},
        parse_case{"DigitsThenLetters", "5s", std::nullopt},
        parse_case{"HttpDate", "Wed, 21 Oct 2015 07:28:00 GMT", std::nullopt},
        parse_case{"JustOverInt32Max", "2147483648", std::nullopt},
        parse_case{"JustUnderInt32Min", "-2147483649", std::nullopt},
        parse_case{"Overflow", "99999999999", std::nullopt},
        parse_case{"EmbeddedZeroByte", std::string("5\0", 2), std::nullopt}),
    [](const auto& info) { return std::string(info.param.name); });

} // namespace
} // namespace tarsion
