#include <cstdint>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "json_test_support.h"
#include "sdk/json/json_node.h"
#include "sdk/json/json_writer.h"

namespace {

using json_test::compact;
using json_test::indented;
using tarsion::json_node;

// {"a":1,"b":[true,"x"]}
json_node sample_document()
{
    json_node root;
    root.is_object = true;
    root.add_value("a", "1", false);
    json_node& list = root.add_array("b");
    list.add_value("", "true", false);
    list.add_value("", "x", true);
    return root;
}

// ---------------------------------------------------------------------------
// Layout of the two forms

TEST(JsonWriterLayout, CompactHasNoWhitespaceIndentedFourSpacesALevel)
{
    // write_json replaces whatever the output held.
    std::string out = "stale";
    EXPECT_TRUE(tarsion::write_json(sample_document(), out, false));
    EXPECT_EQ(out, R"({"a":1,"b":[true,"x"]})");
    EXPECT_TRUE(tarsion::write_json(sample_document(), out, true));
    EXPECT_EQ(out, "{\n"
                   "    \"a\": 1,\n"
                   "    \"b\": [\n"
                   "        true,\n"
                   "        \"x\"\n"
                   "    ]\n"
                   "}");
}

TEST(JsonWriterLayout, IndentedEmptyContainersStayOnTheirKeysLine)
{
    json_node root;
    root.add_object("inner");
    root.add_array("list");
    EXPECT_EQ(indented(root), "{\n    \"inner\": {},\n    \"list\": []\n}");
}

TEST(JsonWriterLayout, WriteNodeAppendsAndClosesAtTheGivenIndent)
{
    json_node list;
    list.is_array = true;
    list.add_value("", "1", false);
    std::string out = "x";
    tarsion::write_node(list, out, 4, true);
    EXPECT_EQ(out, "x[\n        1\n    ]");
}

// ---------------------------------------------------------------------------
// How a node's fields choose its written form: as the root without children,
// as the member "k" without children, or as the root with the one child 1.

struct ShapeCase
{
    const char* name;
    const char* value;
    bool quoted;
    bool is_array;
    bool is_object;
    bool as_member;
    bool with_child;
    const char* expected;
};

class JsonWriterShape : public testing::TestWithParam<ShapeCase>
{
};

TEST_P(JsonWriterShape, FollowsValueAndFlags)
{
    const ShapeCase& c = GetParam();
    json_node root;
    json_node& node = c.as_member ? root.add_value("k", "", true) : root;
    node.value = c.value;
    node.quoted = c.quoted;
    node.is_array = c.is_array;
    node.is_object = c.is_object;
    if (c.with_child)
        node.add_value("", "1", false);
    EXPECT_EQ(compact(root), c.expected);
    if (!c.as_member && !c.with_child) {
        EXPECT_EQ(indented(root), c.expected);
    }
}

INSTANTIATE_TEST_SUITE_P(EmptyRoot, JsonWriterShape,
                         testing::Values(ShapeCase{"Fresh", "", true, false, false, false, false, "\"\""},
                                         ShapeCase{"FreshUnquoted", "", false, false, false, false, false,
                                                   "\"\""},
                                         ShapeCase{"Array", "", true, true, false, false, false, "[]"},
                                         ShapeCase{"Object", "", true, false, true, false, false, "{}"},
                                         ShapeCase{"BothFlags", "", true, true, true, false, false, "[]"}),
                         [](const auto& info) { return std::string(info.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Leaf, JsonWriterShape,
    testing::Values(ShapeCase{"EmptyArray", "", true, true, false, true, false, R"({"k":[]})"},
                    ShapeCase{"EmptyObject", "", true, false, true, true, false, R"({"k":{}})"},
                    ShapeCase{"ArrayFlagWithValue", "x", true, true, false, true, false, R"({"k":"x"})"},
                    ShapeCase{"UnquotedEmptyWritesKeyAndColonOnly", "", false, false, false, true, false,
                              R"({"k":})"},
                    ShapeCase{"QuotedEmpty", "", true, false, false, true, false, R"({"k":""})"},
                    ShapeCase{"UnquotedText", "12", false, false, false, true, false, R"({"k":12})"},
                    ShapeCase{"QuotedDigits", "12", true, false, false, true, false, R"({"k":"12"})"}),
    [](const auto& info) { return std::string(info.param.name); });

// A node with children is an array only when its value is empty and its
// array flag set; anything else is written as an object.
INSTANTIATE_TEST_SUITE_P(
    Container, JsonWriterShape,
    testing::Values(ShapeCase{"Array", "", false, true, false, false, true, "[1]"},
                    ShapeCase{"BothFlags", "", false, true, true, false, true, "[1]"},
                    ShapeCase{"ArrayFlagButValue", "v", false, true, false, false, true, "{1}"},
                    ShapeCase{"Object", "", false, false, true, false, true, "{1}"},
                    ShapeCase{"NoFlags", "", false, false, false, false, true, "{1}"},
                    ShapeCase{"ObjectWithValue", "v", false, false, true, false, true, "{1}"}),
    [](const auto& info) { return std::string(info.param.name); });

// ---------------------------------------------------------------------------
// Escaping

struct EscapeCase
{
    const char* name;
    std::string text;
    std::string expected;
};

// Other control bytes, zero, and bytes from 0x80 up, valid UTF-8 or not.
const std::string kRawBytes("\x01\x07\x0b\x0e\x1f\x7f\0\xc3\xa9\xf0\x9f\x98\x80\xff", 14);

class JsonWriterEscape : public testing::TestWithParam<EscapeCase>
{
};

TEST_P(JsonWriterEscape, EscapesExactlyTheEightBytes)
{
    const EscapeCase& c = GetParam();
    EXPECT_EQ(tarsion::escape_text(c.text), c.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, JsonWriterEscape,
    testing::Values(EscapeCase{"EachOfTheEight", "\b\t\n\f\r\"/\\", "\\b\\t\\n\\f\\r\\\"\\/\\\\"},
                    EscapeCase{"RunOfOneByte", "////", "\\/\\/\\/\\/"},
                    EscapeCase{"MixedWithText", "x\ty\"z", "x\\ty\\\"z"},
                    EscapeCase{"OtherBytesRaw", kRawBytes, kRawBytes}, EscapeCase{"Empty", "", ""}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(JsonWriterEscapeInTree, KeysAndStringValuesAreEscapedUnquotedValuesAreNot)
{
    json_node root;
    root.add_value("a/b", "tab\there \"q\"", true);
    root.add_value("raw", "x/y", false);
    EXPECT_EQ(compact(root), R"({"a\/b":"tab\there \"q\"","raw":x/y})");
}

// ---------------------------------------------------------------------------
// Integer text

TEST(JsonWriterFormatInt64, AgreesWithStdToStringAroundEveryPowerOfTenAndAtTheEnds)
{
    constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();
    constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
    EXPECT_EQ(tarsion::format_int64(kMax), "9223372036854775807");
    EXPECT_EQ(tarsion::format_int64(kMin), "-9223372036854775808");
    EXPECT_EQ(tarsion::format_int64(kMin + 1), "-9223372036854775807");
    for (int exponent = 0; exponent <= 18; ++exponent) {
        std::int64_t power = 1;
        for (int i = 0; i < exponent; ++i)
            power *= 10;
        for (const std::int64_t n : {power - 1, power, power + 1, -(power - 1), -power, -(power + 1)})
            EXPECT_EQ(tarsion::format_int64(n), std::to_string(n)) << "n = " << n;
    }
}

TEST(JsonWriterFormatInt64, AppendKeepsWhatIsAlreadyThere)
{
    std::string out = "n=";
    tarsion::append_int64(out, -12345);
    EXPECT_EQ(out, "n=-12345");
}

} // namespace
