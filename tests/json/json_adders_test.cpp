#include <cstdint>
#include <limits>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "json_test_support.h"
#include "sdk/json/json_adders.h"
#include "sdk/json/json_node.h"
#include "sdk/json/json_reader.h"
#include "sdk/json/uuid.h"

namespace {

using json_test::compact;
using json_test::test_record;
using tarsion::json_node;
using tarsion::uuid;

constexpr uuid kSampleId{0x0123456789abcdefULL, 0xfedcba9876543210ULL};

json_node object_root()
{
    json_node root;
    root.is_object = true;
    return root;
}

// ---------------------------------------------------------------------------
// Typed scalar adders

// Each adder appends one member of its kind, in call order, and what it
// wrote reads back through the getter of that kind.
TEST(JsonTypedAdders, EachAppendsOneMemberOfItsKindThatReadsBack)
{
    json_node root = object_root();
    EXPECT_TRUE(tarsion::add_string(root, "s", "a/\"b\""));
    EXPECT_TRUE(tarsion::add_bool(root, "t", true));
    EXPECT_TRUE(tarsion::add_bool(root, "f", false));
    EXPECT_TRUE(tarsion::add_int64(root, "max", std::numeric_limits<std::int64_t>::max()));
    EXPECT_TRUE(tarsion::add_int64(root, "min", std::numeric_limits<std::int64_t>::min()));
    EXPECT_TRUE(tarsion::add_uuid(root, "id", kSampleId));
    EXPECT_TRUE(tarsion::add_string(root, "s", ""));
    const std::string text = compact(root);
    EXPECT_EQ(text, R"({"s":"a\/\"b\"","t":true,"f":false,"max":9223372036854775807,)"
                    R"("min":-9223372036854775808,"id":"01234567-89ab-cdef-fedc-ba9876543210","s":""})");
    EXPECT_TRUE(json_test::parent_links_hold(root));

    json_node reread;
    ASSERT_TRUE(tarsion::parse_json(text, reread));
    std::string s;
    bool t = false;
    bool f = true;
    std::int64_t min = 0;
    uuid id;
    EXPECT_TRUE(tarsion::get_string(reread, "s", s));
    EXPECT_TRUE(tarsion::get_bool(reread, "t", t));
    EXPECT_TRUE(tarsion::get_bool(reread, "f", f));
    EXPECT_TRUE(tarsion::get_int64(reread, "min", min));
    EXPECT_TRUE(tarsion::get_uuid(reread, "id", id));
    EXPECT_EQ(s, "a/\"b\"");
    EXPECT_TRUE(t);
    EXPECT_FALSE(f);
    EXPECT_EQ(min, std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(id, kSampleId);
}

struct UuidFormatCase
{
    uuid id;
    const char* text;
};

class JsonUuidFormat : public testing::TestWithParam<UuidFormatCase>
{
};

TEST_P(JsonUuidFormat, WritesLowerCaseWithDashes)
{
    EXPECT_EQ(tarsion::format_uuid(GetParam().id), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, JsonUuidFormat,
    testing::Values(UuidFormatCase{uuid{}, "00000000-0000-0000-0000-000000000000"},
                    UuidFormatCase{kSampleId, "01234567-89ab-cdef-fedc-ba9876543210"},
                    UuidFormatCase{uuid{0xABCDEF0000000000ULL, 0}, "abcdef00-0000-0000-0000-000000000000"},
                    UuidFormatCase{uuid{0, 0xF}, "00000000-0000-0000-0000-00000000000f"},
                    UuidFormatCase{uuid{1, 0x8000000000000000ULL}, "00000000-0000-0001-8000-000000000000"}));

// ---------------------------------------------------------------------------
// Records, lists and maps

// A record that reports failure keeps what it wrote; so does a list, which
// still writes every later record.
TEST(JsonRecordAdders, RecordsBecomeObjectsAndFailuresKeepWhatWasWritten)
{
    json_node root = object_root();
    EXPECT_TRUE(tarsion::add_record(root, "r", test_record{"x", 2}));
    test_record refusing{"y", 3};
    refusing.refuse_to_write = true;
    EXPECT_FALSE(tarsion::add_record(root, "bad", refusing));
    std::vector<test_record> items{{"a", 1}, {"b", 2}, {"c", 3}};
    items[1].refuse_to_write = true;
    EXPECT_FALSE(tarsion::add_list(root, "items", items));
    EXPECT_EQ(compact(root),
              R"({"r":{"name":"x","count":2},"bad":{"name":"y","count":3},)"
              R"("items":[{"name":"a","count":1},{"name":"b","count":2},{"name":"c","count":3}]})");
    EXPECT_TRUE(json_test::parent_links_hold(root));
}

TEST(JsonRecordAdders, ListsAndMapsAreArraysAndObjectsOfStrings)
{
    json_node root = object_root();
    EXPECT_TRUE(tarsion::add_list(root, "s", std::vector<std::string>{"a", "", "/"}));
    EXPECT_TRUE(tarsion::add_list(root, "ids", std::vector<uuid>{kSampleId, uuid{}}));
    EXPECT_TRUE(tarsion::add_map(root, "m", {{"b", "2"}, {"a", "x\"y"}, {"c", ""}}));
    // Empty ones still write their member.
    EXPECT_TRUE(tarsion::add_list(root, "r", std::vector<test_record>{}));
    EXPECT_TRUE(tarsion::add_list(root, "e", std::vector<std::string>{}));
    EXPECT_TRUE(tarsion::add_list(root, "u", std::vector<uuid>{}));
    EXPECT_TRUE(tarsion::add_map(root, "n", {}));
    EXPECT_EQ(compact(root),
              R"({"s":["a","","\/"],)"
              R"("ids":["01234567-89ab-cdef-fedc-ba9876543210","00000000-0000-0000-0000-000000000000"],)"
              R"("m":{"a":"x\"y","b":"2","c":""},"r":[],"e":[],"u":[],"n":{}})");
}

} // namespace
