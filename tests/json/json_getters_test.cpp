#include <cstdint>
#include <limits>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "json_test_support.h"
#include "sdk/json/json_getters.h"
#include "sdk/json/json_node.h"
#include "sdk/json/json_reader.h"
#include "sdk/json/uuid.h"

namespace {

using json_test::test_record;
using tarsion::json_node;
using tarsion::uuid;

constexpr uuid kSampleId{0x0123456789abcdefULL, 0xfedcba9876543210ULL};
constexpr const char* kSampleText = "01234567-89ab-cdef-fedc-ba9876543210";
constexpr uuid kJunkId{1, 2};

json_node parsed(const std::string& text)
{
    json_node root;
    EXPECT_TRUE(tarsion::parse_json(text, root)) << text;
    return root;
}

// ---------------------------------------------------------------------------
// find_child

struct FindCase
{
    const char* name;
    std::string key;
    bool case_sensitive;
    int expected_index; // -1: no match
};

class JsonFindChild : public testing::TestWithParam<FindCase>
{
};

TEST_P(JsonFindChild, ReturnsFirstMatch)
{
    const FindCase& c = GetParam();
    json_node object;
    for (const char* key : {"x", "X", "x", "Name", "\xc3\xa9", "@", "["})
        object.add_value(key, key, true);
    const json_node* found = tarsion::find_child(object, c.key, c.case_sensitive);
    if (c.expected_index < 0)
        EXPECT_EQ(found, nullptr);
    else
        EXPECT_EQ(found, &object.children[static_cast<std::size_t>(c.expected_index)]);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, JsonFindChild,
    testing::Values(FindCase{"ExactLower", "x", true, 0}, FindCase{"ExactUpper", "X", true, 1},
                    FindCase{"FoldedUpperFindsFirst", "X", false, 0},
                    FindCase{"FoldedWord", "nAME", false, 3},
                    FindCase{"ExactWordWrongCase", "name", true, -1},
                    FindCase{"ShorterKey", "Nam", false, -1}, FindCase{"LongerKey", "Names", false, -1},
                    FindCase{"EmptyKey", "", false, -1}, FindCase{"Utf8SameBytes", "\xc3\xa9", false, 4},
                    // Bytes that differ from a match by 0x20 but are not A to Z.
                    FindCase{"NonAsciiNotFolded", "\xc3\x89", false, -1},
                    FindCase{"AtSignNotFolded", "`", false, -1},
                    FindCase{"BracketNotFolded", "{", false, -1}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(JsonFindChildEmpty, NodeWithoutChildrenHasNoMatch)
{
    json_node leaf;
    EXPECT_EQ(tarsion::find_child(leaf, "", true), nullptr);
    EXPECT_EQ(tarsion::find_child(leaf, "a", false), nullptr);
}

// ---------------------------------------------------------------------------
// Typed member getters: the member "k" found (case folded) and its text
// parsed, or false with the type's zero. The text grammar itself is in the
// parse_int64 and UUID tables below.

enum class Getter
{
    int64,
    boolean,
    id
};

struct MemberCase
{
    const char* name;
    Getter getter;
    const char* document;
    bool ok;
    const char* value; // what was read, written back as text
    const char* key = "k";
};

class JsonTypedGetter : public testing::TestWithParam<MemberCase>
{
};

TEST_P(JsonTypedGetter, ReadsOrGivesZero)
{
    const MemberCase& c = GetParam();
    const json_node root = parsed(c.document);
    std::string value;
    if (c.getter == Getter::int64) {
        std::int64_t out = 99;
        EXPECT_EQ(tarsion::get_int64(root, c.key, out), c.ok);
        value = std::to_string(out);
    } else if (c.getter == Getter::boolean) {
        bool out = true;
        EXPECT_EQ(tarsion::get_bool(root, c.key, out), c.ok);
        value = out ? "true" : "false";
    } else {
        uuid out = kJunkId;
        EXPECT_EQ(tarsion::get_uuid(root, c.key, out), c.ok);
        value = tarsion::format_uuid(out);
    }
    EXPECT_EQ(value, c.value);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, JsonTypedGetter,
    testing::Values(MemberCase{"Int64Number", Getter::int64, R"({"k":42})", true, "42"},
                    MemberCase{"Int64Quoted", Getter::int64, R"({"k":"42"})", true, "42"},
                    MemberCase{"Int64FoldedKey", Getter::int64, R"({"K":-7})", true, "-7"},
                    MemberCase{"Int64Exponent", Getter::int64, R"({"k":1e3})", false, "0"},
                    MemberCase{"Int64EmptyText", Getter::int64, R"({"k":})", false, "0"},
                    MemberCase{"Int64Missing", Getter::int64, R"({"j":1})", false, "0"},
                    MemberCase{"BoolTrue", Getter::boolean, R"({"k":true})", true, "true"},
                    MemberCase{"BoolFalse", Getter::boolean, R"({"K":false})", true, "false"},
                    MemberCase{"BoolQuoted", Getter::boolean, R"({"k":"true"})", true, "true"},
                    MemberCase{"BoolUpperCase", Getter::boolean, R"({"k":"TRUE"})", false, "false"},
                    MemberCase{"BoolOne", Getter::boolean, R"({"k":1})", false, "false"},
                    MemberCase{"BoolMissing", Getter::boolean, R"({"j":true})", false, "false"},
                    MemberCase{"UuidText", Getter::id, R"({"K":"01234567-89AB-cdef-fedc-ba9876543210"})",
                               true, kSampleText},
                    MemberCase{"UuidInvalid", Getter::id, R"({"k":"01234567-89ab-cdef-fedc-ba987654321"})",
                               false, "00000000-0000-0000-0000-000000000000"},
                    MemberCase{"UuidMissing", Getter::id, R"({"j":"01234567-89ab-cdef-fedc-ba9876543210"})",
                               false, "00000000-0000-0000-0000-000000000000"},
                    // A null or empty key reads the given node itself, which
                    // is how the list getters read array elements.
                    MemberCase{"Int64NullKeyReadsTheNode", Getter::int64, "12", true, "12", nullptr},
                    MemberCase{"Int64EmptyKeyReadsTheNode", Getter::int64, "12", true, "12", ""},
                    MemberCase{"BoolNullKeyReadsTheNode", Getter::boolean, "true", true, "true", nullptr},
                    MemberCase{"BoolEmptyKeyReadsTheNode", Getter::boolean, "12", false, "false", ""},
                    MemberCase{"UuidNullKeyReadsTheNode", Getter::id,
                               "\"01234567-89ab-cdef-fedc-ba9876543210\"", true, kSampleText, nullptr},
                    MemberCase{"UuidEmptyKeyReadsTheNode", Getter::id,
                               "\"01234567-89ab-cdef-fedc-ba9876543210\"", true, kSampleText, ""}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(JsonGetString, GivesAnyMembersValueAsItStands)
{
    const json_node root = parsed(R"({"s":"t\/u","n":42,"o":{"x":1},"l":[1]})");
    std::string out;
    EXPECT_TRUE(tarsion::get_string(root, "S", out));
    EXPECT_EQ(out, "t/u");
    EXPECT_TRUE(tarsion::get_string(root, "n", out));
    EXPECT_EQ(out, "42");
    EXPECT_TRUE(tarsion::get_string(root, "o", out));
    EXPECT_EQ(out, "");
    out = "before";
    EXPECT_TRUE(tarsion::get_string(root, "l", out));
    EXPECT_EQ(out, "");
    EXPECT_FALSE(tarsion::get_string(root, "missing", out));
}

TEST(JsonGetRecord, ReadsMemberAndSkipsMissingOne)
{
    const json_node root = parsed(R"({"full":{"name":"a","count":3},"partial":{"name":"b"}})");
    test_record full;
    EXPECT_TRUE(tarsion::get_record(root, "full", full));
    EXPECT_EQ(full.name, "a");
    EXPECT_EQ(full.count, 3);

    test_record partial;
    EXPECT_FALSE(tarsion::get_record(root, "partial", partial));
    EXPECT_EQ(partial.reads, 1);

    test_record missing;
    EXPECT_FALSE(tarsion::get_record(root, "absent", missing));
    EXPECT_EQ(missing.reads, 0);
}

TEST(JsonGetSelf, NullAndEmptyKeyReadTheNodeItselfAsTextOrRecord)
{
    const json_node object = parsed(R"({"name":"r","count":5})");
    for (const char* key : {static_cast<const char*>(nullptr), ""}) {
        SCOPED_TRACE(key == nullptr ? "null key" : "empty key");
        std::string text;
        EXPECT_TRUE(tarsion::get_string(object.children[0], key, text));
        EXPECT_EQ(text, "r");
        test_record record;
        EXPECT_TRUE(tarsion::get_record(object, key, record));
        EXPECT_EQ(record.name, "r");
        EXPECT_EQ(record.count, 5);
    }
}

// ---------------------------------------------------------------------------
// List and map getters

TEST(JsonGetList, FailedRecordStaysAndLaterOnesAreStillRead)
{
    const json_node root =
        parsed(R"({"items":[{"name":"a","count":1},{"name":"b"},{"name":"c","count":3}]})");
    std::vector<test_record> out(5);
    EXPECT_FALSE(tarsion::get_list(root, "items", out));
    ASSERT_EQ(out.size(), 3u);
    EXPECT_EQ(out[0].name, "a");
    EXPECT_EQ(out[0].count, 1);
    EXPECT_EQ(out[1].name, "b");
    EXPECT_EQ(out[2].name, "c");
    EXPECT_EQ(out[2].count, 3);
}

TEST(JsonGetList, ObjectMembersAreReadAsElements)
{
    const json_node root = parsed(R"({"m":{"x":{"name":"a","count":1},"y":{"name":"b","count":2}}})");
    std::vector<test_record> out;
    EXPECT_TRUE(tarsion::get_list(root, "m", out));
    ASSERT_EQ(out.size(), 2u);
    EXPECT_EQ(out[0].name, "a");
    EXPECT_EQ(out[1].count, 2);
}

// A null key reads the node itself, here an array root.
TEST(JsonGetList, StringsTakeEachElementsValue)
{
    const json_node root = parsed(R"(["a",1,{},"\u00e9"])");
    std::vector<std::string> out;
    EXPECT_TRUE(tarsion::get_list(root, nullptr, out));
    EXPECT_EQ(out, (std::vector<std::string>{"a", "1", "", "\xc3\xa9"}));
}

TEST(JsonGetList, BadUuidStaysAsNilAndFailsTheList)
{
    const json_node root = parsed(
        R"({"ids":["01234567-89ab-cdef-fedc-ba9876543210","nope","01234567-89AB-CDEF-FEDC-BA9876543210"]})");
    std::vector<uuid> out;
    EXPECT_FALSE(tarsion::get_list(root, "ids", out));
    EXPECT_EQ(out, (std::vector<uuid>{kSampleId, uuid{}, kSampleId}));
}

TEST(JsonGetList, ChildlessMemberGivesEmptyListMissingMemberFails)
{
    const json_node root = parsed(R"({"empty":[],"scalar":5})");
    std::vector<std::string> out{"stale"};
    EXPECT_TRUE(tarsion::get_list(root, "empty", out));
    EXPECT_TRUE(out.empty());
    out = {"stale"};
    EXPECT_TRUE(tarsion::get_list(root, "scalar", out));
    EXPECT_TRUE(out.empty());
    out = {"stale"};
    EXPECT_FALSE(tarsion::get_list(root, "absent", out));
    EXPECT_TRUE(out.empty());
}

TEST(JsonGetMap, MembersBecomeEntries)
{
    const json_node root = parsed(R"({"m":{"b":"x","a":2,"c":""}})");
    std::map<std::string, std::string> out{{"stale", "1"}};
    EXPECT_TRUE(tarsion::get_map(root, "M", out));
    EXPECT_EQ(out, (std::map<std::string, std::string>{{"a", "2"}, {"b", "x"}, {"c", ""}}));
    EXPECT_FALSE(tarsion::get_map(root, "absent", out));
    EXPECT_TRUE(out.empty());
}

// ---------------------------------------------------------------------------
// parse_int64

struct ParseIntCase
{
    const char* text;
    bool ok;
    std::int64_t value;
};

class JsonParseInt64 : public testing::TestWithParam<ParseIntCase>
{
};

TEST_P(JsonParseInt64, AcceptsOnlySignAndDigits)
{
    const ParseIntCase& c = GetParam();
    std::int64_t out = 0;
    EXPECT_EQ(tarsion::parse_int64(c.text, out), c.ok) << '"' << c.text << '"';
    if (c.ok) {
        EXPECT_EQ(out, c.value) << '"' << c.text << '"';
    }
}

INSTANTIATE_TEST_SUITE_P(
    Accepted, JsonParseInt64,
    testing::Values(ParseIntCase{"0", true, 0}, ParseIntCase{"-0", true, 0}, ParseIntCase{"7", true, 7},
                    ParseIntCase{"-7", true, -7}, ParseIntCase{"007", true, 7},
                    ParseIntCase{"-0010", true, -10},
                    ParseIntCase{"9223372036854775807", true, std::numeric_limits<std::int64_t>::max()},
                    ParseIntCase{"-9223372036854775808", true, std::numeric_limits<std::int64_t>::min()},
                    ParseIntCase{"00000000000000000000001", true, 1}));

INSTANTIATE_TEST_SUITE_P(Rejected, JsonParseInt64,
                         testing::Values(ParseIntCase{"", false, 0}, ParseIntCase{"-", false, 0},
                                         ParseIntCase{"+1", false, 0}, ParseIntCase{"1e3", false, 0},
                                         ParseIntCase{" 1", false, 0}, ParseIntCase{"1 ", false, 0},
                                         ParseIntCase{"1.0", false, 0}, ParseIntCase{"--1", false, 0},
                                         ParseIntCase{"1-", false, 0}, ParseIntCase{"0x10", false, 0},
                                         ParseIntCase{"9223372036854775808", false, 0},
                                         ParseIntCase{"-9223372036854775809", false, 0},
                                         ParseIntCase{"18446744073709551616", false, 0},
                                         ParseIntCase{"99999999999999999999", false, 0}));

// ---------------------------------------------------------------------------
// UUID text

struct UuidTextCase
{
    const char* name;
    std::string text;
    bool ok;
    uuid value;
};

class JsonUuidText : public testing::TestWithParam<UuidTextCase>
{
};

TEST_P(JsonUuidText, ParsesExactShapeOnly)
{
    const UuidTextCase& c = GetParam();
    uuid out = kJunkId;
    EXPECT_EQ(tarsion::parse_uuid(c.text, out), c.ok);
    EXPECT_EQ(out, c.value);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, JsonUuidText,
    testing::Values(UuidTextCase{"Lower", kSampleText, true, kSampleId},
                    UuidTextCase{"Upper", "01234567-89AB-CDEF-FEDC-BA9876543210", true, kSampleId},
                    UuidTextCase{"MixedCase", "01234567-89aB-CdEf-FEDC-ba9876543210", true, kSampleId},
                    UuidTextCase{"Nil", "00000000-0000-0000-0000-000000000000", true, uuid{}},
                    UuidTextCase{"Max", "ffffffff-ffff-ffff-ffff-ffffffffffff", true, uuid{~0ULL, ~0ULL}},
                    UuidTextCase{"DashShiftedLeft", "0123456-789ab-cdef-fedc-ba9876543210", false, uuid{}},
                    UuidTextCase{"DashShiftedRight", "01234567-89abc-def-fedc-ba9876543210", false, uuid{}},
                    UuidTextCase{"NoDashes", "0123456789abcdeffedcba98765432100000", false, uuid{}},
                    UuidTextCase{"TooShort", "01234567-89ab-cdef-fedc-ba987654321", false, uuid{}},
                    UuidTextCase{"TooLong", "01234567-89ab-cdef-fedc-ba98765432100", false, uuid{}},
                    UuidTextCase{"Braced", "{01234567-89ab-cdef-fedc-ba98765432}", false, uuid{}},
                    UuidTextCase{"NonHexDigit", "01234567-89ab-cdef-fedc-ba987654321g", false, uuid{}},
                    UuidTextCase{"Empty", "", false, uuid{}}),
    [](const auto& info) { return std::string(info.param.name); });

} // namespace
