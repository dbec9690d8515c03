// How a node stores its texts and children, against plain standard
// containers as the reference: every length across the inline limits, texts
// assigned from views of themselves, and child lists that relocate their
// nodes while the nodes' own children keep pointing back at them.

#include <cstdint>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "sdk/json/json_node.h"

namespace {

using tarsion::json_node;
using tarsion::json_node_list;

// A text of `n` bytes that differs at every position and holds a zero byte.
std::string pattern(std::size_t n)
{
    std::string s;
    for (std::size_t i = 0; i < n; ++i)
        s += static_cast<char>(i == n / 2 ? 0 : 'a' + static_cast<char>(i % 26));
    return s;
}

template <class Text>
void check_every_length()
{
    const std::size_t lengths[] = {0, 1, 7, 8, 14, 15, 16, 17, 22, 23, 24, 25, 40, 1000};
    for (const std::size_t n : lengths) {
        SCOPED_TRACE(testing::Message() << "length " << n << ", text of " << sizeof(Text) << " bytes");
        const std::string s = pattern(n);
        Text text(s);
        ASSERT_EQ(text.view(), s);
        EXPECT_EQ(text.c_str()[n], '\0');
        Text copy(text);
        Text moved(std::move(copy));
        EXPECT_TRUE(copy.empty());
        EXPECT_EQ(moved, s);
        // Views of the text itself, as a node's own key or value may be.
        text.assign(text.view().substr(n / 3));
        EXPECT_EQ(text.view(), s.substr(n / 3));
        text.assign(text.view().substr(0, text.size() / 2));
        EXPECT_EQ(text.view(), s.substr(n / 3, (n - n / 3) / 2));
        for (const std::size_t other : lengths) {
            text = pattern(other);
            ASSERT_EQ(text.view(), pattern(other)) << "after " << n;
            moved = std::move(text);
            ASSERT_EQ(moved.view(), pattern(other));
            text = moved;
        }
        // A producer that writes fewer bytes than it was given room for.
        text.assign_with(n, [&](char* out) {
            s.copy(out, n / 2);
            return n / 2;
        });
        EXPECT_EQ(text.view(), s.substr(0, n / 2));
        EXPECT_EQ(text.c_str()[n / 2], '\0');
    }
}

TEST(JsonStorage, TextsHoldEveryLengthAcrossTheInlineLimits)
{
    check_every_length<tarsion::json_text>();
    check_every_length<tarsion::json_value_text>();
}

// The reference keeps, per element, its key and the keys of its children.
using model = std::vector<std::vector<std::string>>;

testing::AssertionResult matches(const json_node_list& list, const model& expected)
{
    if (list.size() != expected.size())
        return testing::AssertionFailure() << list.size() << " elements, expected " << expected.size();
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const json_node& element = list[i];
        if (element.key != expected[i][0] || element.children.size() != expected[i].size() - 1)
            return testing::AssertionFailure() << "element " << i << " is \"" << element.key << "\"";
        for (std::size_t c = 0; c < element.children.size(); ++c) {
            if (element.children[c].key != expected[i][c + 1] || element.children[c].parent != &element)
                return testing::AssertionFailure() << "child " << c << " of element " << i;
        }
    }
    return testing::AssertionSuccess();
}

TEST(JsonStorage, ChildListsRelocateWithTheirNodesChildrenPointingBack)
{
    std::mt19937 random(20261126);
    json_node_list lists[2];
    model models[2];
    // More children than the list's count can hold is refused before any
    // memory is asked for, and leaves the list as it was.
    EXPECT_THROW(lists[0].reserve(std::size_t{1} << 33), std::length_error);
    EXPECT_EQ(lists[0].capacity(), 0u);
    for (int step = 0; step < 3000; ++step) {
        const int which = static_cast<int>(random() % 2);
        json_node_list& list = lists[which];
        model& expected = models[which];
        switch (random() % 5) {
        case 0:
        case 1: {
            // An element with children of its own, long and short keys.
            const std::string key = pattern(random() % 30) + std::to_string(step);
            json_node& element = list.emplace_back();
            element.key = key;
            expected.push_back({key});
            for (std::uint32_t c = random() % 4; c > 0; --c) {
                element.add_value(std::to_string(c), "v", true);
                expected.back().push_back(std::to_string(c));
            }
            break;
        }
        case 2:
            list.pop_back();
            if (!expected.empty())
                expected.pop_back();
            break;
        case 3: {
            const std::size_t first = expected.empty() ? 0 : random() % (expected.size() + 1);
            lists[1 - which].take_tail(list, first);
            auto& other = models[1 - which];
            other.insert(other.end(), expected.begin() + static_cast<std::ptrdiff_t>(first), expected.end());
            expected.resize(first);
            break;
        }
        default: list.reserve(list.size() + random() % 100); break;
        }
        ASSERT_TRUE(matches(lists[0], models[0])) << "step " << step;
        ASSERT_TRUE(matches(lists[1], models[1])) << "step " << step;
    }
}

} // namespace
