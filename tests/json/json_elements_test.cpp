// Streaming the elements of an array root must give what parse_json gives:
// the same verdict, and on success the same elements in the same order, for
// every text, lenient and broken ones included.
#include <array>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "json_reference.h"
#include "json_test_support.h"
#include "sdk/json/json_node.h"
#include "sdk/json/json_reader.h"

namespace {

using tarsion::json_node;

testing::AssertionResult streams_like_parse_json(const std::string& text)
{
    json_node whole;
    const bool whole_ok = tarsion::parse_json(text, whole);

    json_node streamed;
    std::vector<json_node> elements;
    const bool streamed_ok = tarsion::parse_json_elements(
        text, streamed, [&](json_node& element) { elements.push_back(std::move(element)); });

    if (streamed_ok != whole_ok)
        return testing::AssertionFailure() << "verdict " << streamed_ok << ", parse_json " << whole_ok;
    if (!whole_ok)
        return testing::AssertionSuccess();
    if (!whole.is_array) {
        if (!elements.empty())
            return testing::AssertionFailure() << elements.size() << " elements of a root that is no array";
        return json_test::same_tree(whole, streamed);
    }
    if (elements.size() != whole.children.size())
        return testing::AssertionFailure()
               << elements.size() << " elements, parse_json has " << whole.children.size();
    for (std::size_t i = 0; i < elements.size(); ++i) {
        if (auto same = json_test::same_tree(whole.children[i], elements[i]); !same)
            return same << " (element " << i << ")";
    }
    if (!streamed.is_array || !streamed.children.empty() || !streamed.value.empty())
        return testing::AssertionFailure() << "root is not left an empty array";
    return testing::AssertionSuccess();
}

// Every text of an opening bracket and up to six more tokens from a set that
// reaches each branch of the reader: nesting, keys in arrays, empty strings
// (which look like an unfilled slot), trailing and doubled commas, stray
// colons and brackets that do not match.
TEST(JsonElements, EveryShortTokenSequenceStreamsLikeParseJson)
{
    constexpr std::array<std::string_view, 9> kTokens{"[", "]", "{", "}", ",", ":", "\"a\"", "\"\"", "1"};
    const std::size_t texts =
        json_test::for_each_sequence(kTokens.size(), 6, [&](const std::vector<std::size_t>& pick) {
            std::string text = "[";
            for (const std::size_t p : pick)
                text.append(kTokens[p]).push_back(' ');
            const testing::AssertionResult same = streams_like_parse_json(text);
            EXPECT_TRUE(same) << text;
            return bool(same);
        });
    EXPECT_EQ(texts, 1u + 9 + 81 + 729 + 6561 + 59049 + 531441);
}

TEST(JsonElements, RandomDocumentsStreamLikeParseJson)
{
    json_test::random_json random(20261121);
    for (int i = 0; i < 3000; ++i) {
        const std::string text = random.document(5);
        ASSERT_TRUE(streams_like_parse_json(text)) << text;
        ASSERT_TRUE(streams_like_parse_json("[" + text + "," + text + "]")) << text;
    }
}

TEST(JsonElements, ElementsArriveInOrderBeforeTheTextEnds)
{
    std::vector<std::string> seen;
    json_node root;
    const bool ok =
        tarsion::parse_json_elements(R"([{"n":1},[2],"3",{"n":4}] trailing)", root, [&](json_node& element) {
            seen.push_back(json_test::compact(element));
        });
    EXPECT_FALSE(ok);
    EXPECT_EQ(seen, (std::vector<std::string>{R"({"n":1})", "[2]", R"("3")", R"({"n":4})"}));
}

} // namespace
