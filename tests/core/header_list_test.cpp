#include <gtest/gtest.h>

#include "sdk/core/header_list.h"

namespace tarsion::http {
namespace {

std::vector<header> pairs(const header_list& list)
{
    return {list.begin(), list.end()};
}

TEST(HeaderList, AppendKeepsOrderAndDuplicates)
{
    header_list list;
    list.append("A", "1");
    list.append("B", "2");
    list.append("A", "3");
    EXPECT_EQ(pairs(list), (std::vector<header>{{"A", "1"}, {"B", "2"}, {"A", "3"}}));
}

TEST(HeaderList, RemoveAllTakesEveryExactMatchAndKeepsTheRestInOrder)
{
    header_list list{{"Authorization", "Bearer a"}, {"Accept", "x"},
                     {"authorization", "lower"}, {"Authorization", "Bearer b"}, {"Z", "z"}};
    list.remove_all("Authorization");
    EXPECT_EQ(pairs(list),
              (std::vector<header>{{"Accept", "x"}, {"authorization", "lower"}, {"Z", "z"}}));
    list.remove_all("Missing");
    EXPECT_EQ(list.size(), 3u);
}

TEST(HeaderList, FindIsExactAndTakesTheFirst)
{
    header_list list{{"retry-after", "9"}, {"Retry-After", "1"}, {"Retry-After", "2"}};
    ASSERT_NE(list.find("Retry-After"), nullptr);
    EXPECT_EQ(list.find("Retry-After")->second, "1");
    EXPECT_EQ(list.find("RETRY-AFTER"), nullptr);
}

} // namespace
} // namespace tarsion::http
