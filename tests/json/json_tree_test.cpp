// The node's parent links and depth, and the typed values on top of it:
// getters, adders, integers, UUIDs, key lookup and checked arithmetic.

#include <array>
#include <cstdint>
#include <limits>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/every_text.h"
#include "json_test_support.h"
#include "sdk/json/json_adders.h"
#include "sdk/json/json_getters.h"
#include "sdk/json/json_reader.h"
#include "sdk/json/uuid.h"

namespace {

using json_test::compact;
using json_test::parent_links_hold;
using tarsion::json_node;
using tarsion::uuid;

constexpr const char* kDocument = R"({"a":[1,{"b":[true,[],{"c":"d"}]},"e"],"f":{"g":{"h":[null]}},"i":"j"})";

json_node parsed(const std::string& text)
{
    json_node root;
    EXPECT_TRUE(tarsion::parse_json(text, root)) << text;
    return root;
}

TEST(JsonTreeParentLinks, HoldThroughGrowthCopiesMovesAndAssignments)
{
    json_node grown;
    grown.is_object = true;
    grown.add_array("list");
    for (int i = 0; i < 100; ++i) {
        // Elements with children of their own, so that moving them must re-point those too.
        json_node& element = grown.children.front().add_object("");
        element.add_array("deeper").add_value("", std::to_string(i), false);
        grown.add_value("sibling", "s", true);
        ASSERT_TRUE(parent_links_hold(grown)) << "after element " << i;
    }
    json_node tree = parsed(kDocument);
    const json_node copy(tree);
    tree.children[0].set_value("changed", true);
    EXPECT_EQ(compact(copy), kDocument);
    EXPECT_EQ(compact(json_node(copy.children[1])), R"("f":{"g":{"h":[null]}})");
    tree.children[2] = copy.children[1];
    tree.children[1] = tree.children[1].children[0];
    EXPECT_EQ(compact(tree), R"({"a":"changed","g":{"h":[null]},"f":{"g":{"h":[null]}}})");
    json_node moved(std::move(tree.children[2]));
    EXPECT_TRUE(parent_links_hold(moved) && parent_links_hold(tree));
    json_node own = parsed(kDocument);
    own = std::move(own.children[0].children[1].children[0]);
    EXPECT_EQ(compact(own), R"("b":[true,[],{"c":"d"}])");
    own.children[1].add_object("").add_value("x", "1", false);
    own.remove_last_child();
    EXPECT_EQ(compact(own), R"("b":[true,[{"x":1}]])");
    EXPECT_TRUE(parent_links_hold(own));
    // Key and text taken from a sibling that moves while the list grows.
    json_node root;
    root.add_value("k", "v", true);
    for (int i = 0; i < 40; ++i)
        root.add_value(root.children.front().key, root.children.front().value, true);
    EXPECT_EQ(root.children.back().key.str() + root.children.back().value.str(), "kv");
}

TEST(JsonTreeDepth, DeepNestsNeverRecurse)
{
    constexpr std::size_t kDeep = 100000;
    std::string objects;
    for (std::size_t i = 1; i < kDeep; ++i)
        objects += "{\"a\":";
    objects += "{}" + std::string(kDeep - 1, '}');
    json_test::run_on_small_stack([&] {
        for (const std::string& text : {std::string(kDeep, '[') + std::string(kDeep, ']'), objects}) {
            json_node root;
            ASSERT_TRUE(tarsion::parse_json(text, root));
            EXPECT_TRUE(parent_links_hold(root));
            EXPECT_TRUE(compact(root) == text);
            json_node copy(root);
            json_node moved(std::move(copy));
            json_node assigned;
            assigned = moved;
            EXPECT_TRUE(compact(assigned) == text);
            moved = std::move(moved.children.front());
            EXPECT_TRUE(parent_links_hold(moved));
            root.set_value("gone", true);
        }
        json_node nest;
        ASSERT_TRUE(tarsion::parse_json(std::string(3000, '[') + std::string(3000, ']'), nest));
        std::string expected, pretty;
        for (std::size_t level = 0; level < 2999; ++level)
            expected.append(level * 4, ' ').append("[\n");
        expected.append(2999 * 4, ' ').append("[]");
        for (std::size_t level = 2999; level-- > 0;)
            expected.append("\n").append(level * 4, ' ').append("]");
        tarsion::write_json(nest, pretty, true);
        EXPECT_TRUE(pretty == expected);
    });
}

// A record with two required members, the shape the SDK's records follow.
struct test_record
{
    std::string name;
    std::int64_t count = 0;
    bool to_json(json_node& node) const
    {
        return tarsion::add_string(node, "name", name) && tarsion::add_int64(node, "count", count)
               && count >= 0;
    }
    bool from_json(const json_node& node)
    {
        const bool has_name = tarsion::get_string(node, "name", name);
        return tarsion::get_int64(node, "count", count) && has_name;
    }
};

// What records make of the getters is the record tests' business; these are
// the getters' own rules.
TEST(JsonTypedValues, GettersAndAdders)
{
    const json_node root = parsed(R"({"I":"-7","e":1e3,"m":{"en":"x","de":"y","en":"z"},)"
                                  R"("l":[{"name":"a","count":1},{"name":"b"},5],)"
                                  R"("ids":["00000000-0000-0000-0000-00000000000a","no"]})");
    std::int64_t i = 99;
    EXPECT_TRUE(tarsion::get_int64(root, "i", i) && i == -7);
    EXPECT_FALSE(tarsion::get_int64(root, "e", i) || i != 0);
    std::map<std::string, std::string> map{{"stale", "1"}};
    EXPECT_TRUE(tarsion::get_map(root, "M", map));
    EXPECT_EQ(map, (std::map<std::string, std::string>{{"de", "y"}, {"en", "z"}}));
    // A failed element stays in the list and the rest are still read.
    std::vector<test_record> records;
    EXPECT_FALSE(tarsion::get_list(root, "l", records));
    EXPECT_TRUE(records.size() == 3 && records[1].name == "b");
    std::vector<uuid> ids;
    EXPECT_FALSE(tarsion::get_list(root, "ids", ids));
    EXPECT_EQ(ids, (std::vector<uuid>{{0, 10}, {}}));
    test_record self;
    EXPECT_TRUE(tarsion::get_record(root.children[3].children[0], nullptr, self) && self.count == 1);

    json_node out;
    out.is_object = true;
    EXPECT_TRUE(tarsion::add_int64(out, "i", std::numeric_limits<std::int64_t>::min()));
    EXPECT_TRUE(tarsion::add_uuid(out, "u", uuid{0x0123456789ABCDEFULL, 1}));
    EXPECT_FALSE(tarsion::add_list(out, "l", std::vector<test_record>{{"a", 1}, {"b", -1}, {"c", 3}}));
    EXPECT_TRUE(tarsion::add_list(out, "e", std::vector<std::string>{}) && tarsion::add_map(out, "m", {}));
    EXPECT_EQ(compact(out), R"({"i":-9223372036854775808,"u":"01234567-89ab-cdef-0000-000000000001",)"
                            R"("l":[{"name":"a","count":1},{"name":"b","count":-1},{"name":"c","count":3}],)"
                            R"("e":[],"m":{}})");
    EXPECT_TRUE(parent_links_hold(out));
}

// Every getter fails on an absent member and leaves nothing of what its
// output held (the getters test above reads present ones).
TEST(JsonTypedValues, GettersFailOnAnAbsentMemberAndAValueMakesALeaf)
{
    const json_node root = parsed(R"({"l":[],"m":{}})");
    std::string s = "stale";
    std::int64_t i = 9;
    bool b = true;
    uuid u{1, 1};
    test_record r{"stale", 1};
    std::vector<std::string> l{"stale"};
    std::map<std::string, std::string> m{{"stale", "1"}};
    const std::array found{tarsion::get_string(root, "x", s), tarsion::get_int64(root, "x", i),
                           tarsion::get_bool(root, "x", b),   tarsion::get_uuid(root, "x", u),
                           tarsion::get_record(root, "x", r), tarsion::get_list(root, "x", l),
                           tarsion::get_map(root, "x", m)};
    EXPECT_EQ(found, (std::array<bool, 7>{}));
    EXPECT_TRUE(i == 0 && !b && u == uuid{} && l.empty() && m.empty());
    // Whatever a node was, a value makes it a leaf that writes as the value.
    for (const char* text : {R"({"a":{"b":1}})", "[[1],2]", "\"x\""}) {
        json_node node = parsed(text);
        node.set_value("v", true);
        EXPECT_EQ(compact(node), "\"v\"") << text;
        EXPECT_TRUE(node.children.empty() && !node.is_array && !node.is_object) << text;
    }
}

// parse_int64 is std::from_chars over the whole text: every short text of
// signs, digits and stray bytes, and the ends of the range.
TEST(JsonTypedValues, ParseInt64IsFromCharsOverTheWholeText)
{
    std::vector<std::string> texts{"9223372036854775807",  "9223372036854775808",  "-9223372036854775808",
                                   "-9223372036854775809", "18446744073709551616", "00000000000000000000001"};
    for (std::string& text : tarsion::testing::every_text_over("-019+ .ae", 4))
        texts.push_back(std::move(text));
    for (const std::string& text : texts) {
        const std::optional<std::int64_t> expected = tarsion::testing::from_chars_whole<std::int64_t>(text);
        std::int64_t out = 0;
        ASSERT_EQ(tarsion::parse_int64(text, out), expected.has_value()) << '"' << text << '"';
        if (expected) {
            ASSERT_EQ(out, *expected) << text;
        }
    }
}

TEST(JsonTypedValues, UuidTextIsExactly8_4_4_4_12HexDigits)
{
    const std::string text = "01234567-89ab-cdef-fedc-ba9876543210";
    const uuid value{0x0123456789abcdefULL, 0xfedcba9876543210ULL};
    uuid out{1, 2};
    ASSERT_TRUE(tarsion::parse_uuid("01234567-89AB-CDEF-FEDC-BA9876543210", out));
    EXPECT_EQ(out, value);
    EXPECT_EQ(tarsion::format_uuid(value), text);
    EXPECT_EQ(tarsion::format_uuid(uuid{~0ULL, 0}), "ffffffff-ffff-ffff-0000-000000000000");
    for (const char* bad :
         {"", "01234567-89ab-cdef-fedc-ba987654321", "01234567-89ab-cdef-fedc-ba98765432100",
          "0123456-789ab-cdef-fedc-ba9876543210", "{01234567-89ab-cdef-fedc-ba98765432}"}) {
        out = uuid{1, 2};
        EXPECT_FALSE(tarsion::parse_uuid(bad, out)) << bad;
        EXPECT_TRUE(out.is_nil()) << bad;
    }
    // Any byte that is not a hex digit, in any position, and a digit where a dash belongs.
    for (std::size_t at = 0; at < text.size(); ++at) {
        for (const char c :
             std::string("gG/:@`-x \xff") + std::string(1, '\0') + (text[at] == '-' ? "0" : "")) {
            std::string damaged = text;
            if (damaged[at] == c)
                continue;
            damaged[at] = c;
            EXPECT_FALSE(tarsion::parse_uuid(damaged, out)) << damaged;
        }
    }
}

TEST(JsonTypedValues, FindChildrenIsFindChildForEveryKey)
{
    const std::array<std::string_view, 4> keys{"a", "Bb", "c", "id"};
    const std::array<std::string_view, 8> members{"a", "A", "bb", "BB", "c", "x", "ID", ""};
    // Every list of up to five members, a base-9 digit each (0: none).
    for (std::size_t code = 0; code < 9 * 9 * 9 * 9 * 9; ++code) {
        json_node object;
        for (std::size_t c = code; c > 0; c /= 9)
            if (c % 9 != 0)
                object.add_value(members[c % 9 - 1], "v", true);
        std::array<const json_node*, 4> found{};
        tarsion::find_children(object, keys, found);
        for (std::size_t k = 0; k < keys.size(); ++k)
            ASSERT_EQ(found[k], tarsion::find_child(object, keys[k], false))
                << keys[k] << " in list " << code;
    }
    json_node object = parsed(R"({"x":1,"X":2,"Name":3,"`":4})");
    EXPECT_EQ(tarsion::find_child(object, "X", true), &object.children[1]);
    EXPECT_EQ(tarsion::find_child(object, "X", false), &object.children[0]);
    EXPECT_EQ(tarsion::find_child(object, "nAME", false), &object.children[2]);
    EXPECT_EQ(tarsion::find_child(object, "@", false), nullptr);
}

} // namespace
