// find_children against find_child, its one-key-at-a-time definition, over
// every short list of member keys: in and out of the keys' order, repeated,
// in other letter cases, missing and unknown.
#include <array>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "json_test_support.h"
#include "sdk/json/json_node.h"
#include "sdk/json/json_reader.h"

namespace {

using tarsion::json_node;

constexpr std::array<std::string_view, 4> kKeys{"a", "Bb", "c", "id"};
constexpr std::array<std::string_view, 8> kMemberKeys{"a", "A", "bb", "BB", "c", "x", "ID", ""};

void expect_same_as_find_child(const json_node& object, std::span<const std::string_view> keys)
{
    std::vector<const json_node*> found(keys.size(), &object);
    tarsion::find_children(object, keys, found);
    for (std::size_t k = 0; k < keys.size(); ++k)
        ASSERT_EQ(found[k], tarsion::find_child(object, keys[k], false))
            << "key " << keys[k] << " among " << object.child_count() << " members";
}

TEST(JsonFindChildren, MatchesFindChildForEveryMemberListUpToFive)
{
    const std::size_t lists =
        json_test::for_each_sequence(kMemberKeys.size(), 5, [](const std::vector<std::size_t>& pick) {
            json_node object;
            for (const std::size_t p : pick)
                object.add_value(kMemberKeys[p], "v", true);
            expect_same_as_find_child(object, kKeys);
            return !testing::Test::HasFatalFailure();
        });
    EXPECT_EQ(lists, 1u + 8 + 64 + 512 + 4096 + 32768);
}

TEST(JsonFindChildren, NoKeysAndNoMembers)
{
    json_node object;
    object.add_value("a", "1", true);
    expect_same_as_find_child(object, {});
    expect_same_as_find_child(json_node(), kKeys);
}

} // namespace
