#include <gtest/gtest.h>

#include "sdk/core/header_list.h"

namespace tarsion::http {
namespace {

std::vector<header> pairs(const header_list& list)
{
    return {list.begin(), list.end()};
}

// remove_all and find are pinned down by the tenant's Authorization and
// Retry-After tables; nothing there appends a name twice.
TEST(HeaderList, AppendKeepsOrderAndDuplicates)
{
    header_list list;
    list.append("A", "1");
    list.append("B", "2");
    list.append("A", "3");
    EXPECT_EQ(pairs(list), (std::vector<header>{{"A", "1"}, {"B", "2"}, {"A", "3"}}));
}

} // namespace
} // namespace tarsion::http
