#include <cstdint>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "json_test_support.h"
#include "sdk/json/json_node.h"
#include "sdk/json/json_writer.h"

namespace {

using tarsion::json_node;
using json_test::compact;
using json_test::indented;

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

TEST(JsonWriterLayout, CompactFormHasNoWhitespace)
{
    EXPECT_EQ(compact(sample_document()), R"({"a":1,"b":[true,"x"]})");
}

TEST(JsonWriterLayout, IndentedFormUsesFourSpacesALevel)
{
    EXPECT_EQ(indented(sample_document()),
              "{\n"
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

TEST(JsonWriterLayout, IndentedArrayOfTwoNumbersTakesFourLines)
{
    json_node root;
    root.is_array = true;
    root.add_value("", "1", false);
    root.add_value("", "2", false);
    EXPECT_EQ(indented(root), "[\n    1,\n    2\n]");
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

TEST(JsonWriterLayout, WriteJsonReplacesPreviousOutput)
{
    std::string out = "stale";
    EXPECT_TRUE(tarsion::write_json(sample_document(), out, false));
    EXPECT_EQ(out, R"({"a":1,"b":[true,"x"]})");
}

TEST(JsonWriterLayout, DuplicateKeysAreAllWrittenInOrder)
{
    json_node root;
    root.add_value("k", "1", false);
    root.add_value("k", "2", false);
    EXPECT_EQ(compact(root), R"({"k":1,"k":2})");
}

// ---------------------------------------------------------------------------
// Empty roots

struct EmptyRootCase
{
    const char* name;
    bool quoted;
    bool is_array;
    bool is_object;
    const char* expected;
};

class JsonWriterEmptyRoot : public testing::TestWithParam<EmptyRootCase> {};

TEST_P(JsonWriterEmptyRoot, WritesByItsFlags)
{
    const EmptyRootCase& c = GetParam();
    json_node root;
    root.quoted = c.quoted;
    root.is_array = c.is_array;
    root.is_object = c.is_object;
    EXPECT_EQ(compact(root), c.expected);
    EXPECT_EQ(indented(root), c.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, JsonWriterEmptyRoot,
    testing::Values(EmptyRootCase{"Fresh", true, false, false, "\"\""},
                    EmptyRootCase{"FreshUnquoted", false, false, false, "\"\""},
                    EmptyRootCase{"Array", true, true, false, "[]"},
                    EmptyRootCase{"Object", true, false, true, "{}"},
                    EmptyRootCase{"BothFlags", true, true, true, "[]"}),
    [](const auto& info) { return std::string(info.param.name); });

// ---------------------------------------------------------------------------
// How a node's fields choose its written form

struct LeafCase
{
    const char* name;
    const char* value;
    bool quoted;
    bool is_array;
    bool is_object;
    const char* expected; // as the member "k" of an object
};

class JsonWriterLeaf : public testing::TestWithParam<LeafCase> {};

TEST_P(JsonWriterLeaf, WritesMemberWithoutChildren)
{
    const LeafCase& c = GetParam();
    json_node root;
    json_node& member = root.add_value("k", c.value, c.quoted);
    member.is_array = c.is_array;
    member.is_object = c.is_object;
    EXPECT_EQ(compact(root), c.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, JsonWriterLeaf,
    testing::Values(LeafCase{"EmptyArray", "", true, true, false, R"({"k":[]})"},
                    LeafCase{"EmptyObject", "", true, false, true, R"({"k":{}})"},
                    LeafCase{"ArrayFlagWithValue", "x", true, true, false, R"({"k":"x"})"},
                    LeafCase{"UnquotedEmptyWritesKeyAndColonOnly", "", false, false, false, R"({"k":})"},
                    LeafCase{"QuotedEmpty", "", true, false, false, R"({"k":""})"},
                    LeafCase{"UnquotedText", "12", false, false, false, R"({"k":12})"},
                    LeafCase{"QuotedDigits", "12", true, false, false, R"({"k":"12"})"}),
    [](const auto& info) { return std::string(info.param.name); });

struct ContainerCase
{
    const char* name;
    const char* value;
    bool is_array;
    bool is_object;
    const char* expected;
};

class JsonWriterContainer : public testing::TestWithParam<ContainerCase> {};

TEST_P(JsonWriterContainer, IsAnArrayOnlyWhenValueEmptyAndArrayFlagSet)
{
    const ContainerCase& c = GetParam();
    json_node root;
    root.value = c.value;
    root.quoted = false;
    root.is_array = c.is_array;
    root.is_object = c.is_object;
    root.add_value("", "1", false);
    EXPECT_EQ(compact(root), c.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, JsonWriterContainer,
    testing::Values(ContainerCase{"Array", "", true, false, "[1]"},
                    ContainerCase{"BothFlags", "", true, true, "[1]"},
                    ContainerCase{"ArrayFlagButValue", "v", true, false, "{1}"},
                    ContainerCase{"Object", "", false, true, "{1}"},
                    ContainerCase{"NoFlags", "", false, false, "{1}"},
                    ContainerCase{"ObjectWithValue", "v", false, true, "{1}"}),
    [](const auto& info) { return std::string(info.param.name); });

// ---------------------------------------------------------------------------
// Escaping

struct EscapeCase
{
    const char* name;
    std::string text;
    std::string expected;
};

class JsonWriterEscape : public testing::TestWithParam<EscapeCase> {};

TEST_P(JsonWriterEscape, EscapesExactlyTheEightBytes)
{
    const EscapeCase& c = GetParam();
    EXPECT_EQ(tarsion::escape_text(c.text), c.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, JsonWriterEscape,
    testing::Values(EscapeCase{"Backspace", "\b", "\\b"},
                    EscapeCase{"Tab", "\t", "\\t"},
                    EscapeCase{"LineFeed", "\n", "\\n"},
                    EscapeCase{"FormFeed", "\f", "\\f"},
                    EscapeCase{"CarriageReturn", "\r", "\\r"},
                    EscapeCase{"Quote", "\"", "\\\""},
                    EscapeCase{"Solidus", "a/b", "a\\/b"},
                    EscapeCase{"Backslash", "\\", "\\\\"},
                    EscapeCase{"RunOfEscapes", "\"\\/\"", "\\\"\\\\\\/\\\""},
                    EscapeCase{"MixedWithText", "x\ty\"z", "x\\ty\\\"z"},
                    EscapeCase{"OtherControlBytesRaw", std::string("\x01\x07\x0b\x0e\x1f\x7f", 6),
                               std::string("\x01\x07\x0b\x0e\x1f\x7f", 6)},
                    EscapeCase{"ZeroByteRaw", std::string("a\0b", 3), std::string("a\0b", 3)},
                    EscapeCase{"Utf8Raw", "\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80",
                               "\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80"},
                    EscapeCase{"InvalidUtf8Raw", "\xff\xc3", "\xff\xc3"},
                    EscapeCase{"Empty", "", ""}),
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

struct IntCase
{
    std::int64_t n;
    const char* text;
};

class JsonWriterFormatInt64 : public testing::TestWithParam<IntCase> {};

TEST_P(JsonWriterFormatInt64, WritesPlainDecimal)
{
    EXPECT_EQ(tarsion::format_int64(GetParam().n), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, JsonWriterFormatInt64,
    testing::Values(IntCase{0, "0"}, IntCase{-1, "-1"}, IntCase{1, "1"}, IntCase{9, "9"},
                    IntCase{10, "10"}, IntCase{-10, "-10"}, IntCase{99, "99"}, IntCase{100, "100"},
                    IntCase{101, "101"}, IntCase{-101, "-101"}, IntCase{1000, "1000"},
                    IntCase{9999, "9999"}, IntCase{10000, "10000"}, IntCase{100001, "100001"},
                    IntCase{std::numeric_limits<std::int64_t>::max(), "9223372036854775807"},
                    IntCase{std::numeric_limits<std::int64_t>::min(), "-9223372036854775808"},
                    IntCase{std::numeric_limits<std::int64_t>::min() + 1, "-9223372036854775807"}));

TEST(JsonWriterFormatInt64Sweep, AgreesWithStdToStringAroundEveryPowerOfTen)
{
    for (int exponent = 0; exponent <= 18; ++exponent) {
        std::int64_t power = 1;
        for (int i = 0; i < exponent; ++i)
            power *= 10;
        for (const std::int64_t n : {power - 1, power, power + 1, -(power - 1), -power, -(power + 1)})
            EXPECT_EQ(tarsion::format_int64(n), std::to_string(n)) << "n = " << n;
    }
}

TEST(JsonWriterFormatInt64Sweep, AppendKeepsWhatIsAlreadyThere)
{
    std::string out = "n=";
    tarsion::append_int64(out, -12345);
    EXPECT_EQ(out, "n=-12345");
}

} // namespace
