#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "sdk/core/c_random.h"
#include "sdk/core/random_base.h"

namespace tarsion::random {
namespace {

constexpr std::int32_t kMin = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kMax = std::numeric_limits<std::int32_t>::max();

// ---- c_random -----------------------------------------------------------

struct range_case
{
    const char* name;
    std::int32_t a;
    std::int32_t b;
};

class CRandomRange : public ::testing::TestWithParam<range_case>
{
protected:
    c_random source;
};

TEST_P(CRandomRange, StaysWithinTheClosedRange)
{
    const range_case& c = GetParam();
    const std::int64_t low = std::min(c.a, c.b);
    const std::int64_t high = std::max(c.a, c.b);
    for (int i = 0; i < 5000; ++i) {
        const std::int64_t v = source.next(c.a, c.b);
        ASSERT_GE(v, low) << "draw " << i;
        ASSERT_LE(v, high) << "draw " << i;
        // The draw is low + r mod (size), r from the C generator, so it can
        // never lie further above low than the generator reaches.
        ASSERT_LE(v - low, std::int64_t{RAND_MAX}) << "draw " << i;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Ranges, CRandomRange,
    ::testing::Values(range_case{"Digits", 0, 15}, range_case{"DigitsReversed", 15, 0},
                      range_case{"Variant", 0, 3}, range_case{"SingleValue", 5, 5},
                      range_case{"SingleNegativeValue", -7, -7}, range_case{"AcrossZero", -3, 3},
                      range_case{"NegativeReversed", -10, -20}, range_case{"TopTwo", kMax - 1, kMax},
                      range_case{"BottomTwo", kMin, kMin + 1}, range_case{"FullRange", kMin, kMax},
                      range_case{"FullRangeReversed", kMax, kMin}, range_case{"SingleMinimum", kMin, kMin},
                      range_case{"SingleMaximum", kMax, kMax}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(CRandom, SmallRangeReachesEveryValue)
{
    c_random source;
    std::vector<bool> seen(16, false);
    for (int i = 0; i < 20000; ++i)
        seen[static_cast<std::size_t>(source.next(15, 0))] = true;
    EXPECT_THAT(seen, ::testing::Each(true));
}

// The source is the C library's generator itself: after the one seeding on
// first use it draws from the shared state and never reseeds, and the value
// is the low bound plus the draw modulo the range size.
TEST(CRandom, DrawsFromTheSharedCGeneratorWithoutReseeding)
{
    c_random source;
    (void)source.next(0, 1); // the process's seeding, if it has not happened yet

    std::srand(20240601u);
    std::vector<std::int64_t> expected;
    for (int i = 0; i < 4; ++i)
        expected.push_back(std::rand());

    std::srand(20240601u);
    EXPECT_EQ(source.next(0, kMax), expected[0]);
    EXPECT_EQ(source.next(10, 3), 3 + expected[1] % 8);
    EXPECT_EQ(source.next(kMin, kMax), std::int64_t{kMin} + expected[2]);
    c_random other;
    EXPECT_EQ(other.next(-5, 5), -5 + expected[3] % 11);
}

// ---- random_base::uuid --------------------------------------------------

bool is_lower_hex(char c)
{
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f');
}

void expect_version4_shape(const std::string& id)
{
    ASSERT_EQ(id.size(), 36u) << id;
    for (std::size_t i = 0; i < id.size(); ++i) {
        if (i == 8 || i == 13 || i == 18 || i == 23)
            ASSERT_EQ(id[i], '-') << id;
        else
            ASSERT_TRUE(is_lower_hex(id[i])) << id << " at " << i;
    }
    ASSERT_EQ(id[14], '4') << id;
    ASSERT_NE(std::string("89ab").find(id[19]), std::string::npos) << id;
}

TEST(RandomUuid, AlwaysHasTheVersion4Shape)
{
    c_random source;
    std::vector<std::string> ids;
    for (int i = 0; i < 2000; ++i) {
        ids.push_back(source.uuid());
        expect_version4_shape(ids.back());
        if (HasFatalFailure())
            return;
    }
    // Draws do vary: 2000 identifiers of 122 random bits are all different.
    std::sort(ids.begin(), ids.end());
    EXPECT_EQ(std::adjacent_find(ids.begin(), ids.end()), ids.end());
}

// Answers draws from a list and keeps the bounds it was asked with.
class scripted_random final : public random_base
{
public:
    explicit scripted_random(std::vector<std::int32_t> answers) : answers_(std::move(answers)) {}

    std::int32_t next(std::int32_t a, std::int32_t b) override
    {
        calls.emplace_back(a, b);
        const std::int32_t v = answers_.at(position_ % answers_.size());
        ++position_;
        return v;
    }

    std::vector<std::pair<std::int32_t, std::int32_t>> calls;

private:
    std::vector<std::int32_t> answers_;
    std::size_t position_ = 0;
};

// 31 draws: the "4" of the third group is fixed, and the first digit of the
// fourth group (the 16th draw) picks from "89ab".
std::vector<std::int32_t> uuid_answers(std::int32_t variant, bool counting)
{
    std::vector<std::int32_t> answers;
    std::int32_t digit = 0;
    for (int i = 0; i < 31; ++i)
        answers.push_back(i == 15 ? variant : counting ? digit++ % 16 : 15);
    return answers;
}

struct uuid_case
{
    const char* name;
    std::vector<std::int32_t> answers;
    const char* text;
};

class RandomUuidDraws : public ::testing::TestWithParam<uuid_case>
{
};

TEST_P(RandomUuidDraws, DigitsAreDrawnLeftToRightAndTheVariantFromFour)
{
    const uuid_case& c = GetParam();
    scripted_random source(c.answers);
    EXPECT_EQ(source.uuid(), c.text);

    std::vector<std::pair<std::int32_t, std::int32_t>> draws(31, {0, 15});
    draws[15] = {0, 3};
    EXPECT_EQ(source.calls, draws);
}

INSTANTIATE_TEST_SUITE_P(
    Draws, RandomUuidDraws,
    ::testing::Values(uuid_case{"CountingDigits", uuid_answers(2, true),
                                "01234567-89ab-4cde-af01-23456789abcd"},
                      uuid_case{"Variant8", uuid_answers(0, false), "ffffffff-ffff-4fff-8fff-ffffffffffff"},
                      uuid_case{"Variant9", uuid_answers(1, false), "ffffffff-ffff-4fff-9fff-ffffffffffff"},
                      uuid_case{"VariantA", uuid_answers(2, false), "ffffffff-ffff-4fff-afff-ffffffffffff"},
                      uuid_case{"VariantB", uuid_answers(3, false), "ffffffff-ffff-4fff-bfff-ffffffffffff"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(RandomUuid, EachCallDrawsAfresh)
{
    std::vector<std::int32_t> answers(62, 0);
    std::fill(answers.begin() + 31, answers.end(), 9);
    answers[15] = 0;
    answers[31 + 15] = 1;
    scripted_random source(answers);

    EXPECT_EQ(source.uuid(), "00000000-0000-4000-8000-000000000000");
    EXPECT_EQ(source.uuid(), "99999999-9999-4999-9999-999999999999");
    EXPECT_EQ(source.calls.size(), 62u);
}

} // namespace
} // namespace tarsion::random
