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

using tarsion::json_node;
using tarsion::uuid;
using json_test::compact;
using json_test::test_record;

constexpr uuid kSampleId{0x0123456789abcdefULL, 0xfedcba9876543210ULL};

json_node object_root()
{
    json_node root;
    root.is_object = true;
    return root;
}

// ---------------------------------------------------------------------------
// Typed scalar adders

TEST(JsonTypedAdders, EachAppendsOneMemberOfItsKind)
{
    json_node root = object_root();
    EXPECT_TRUE(tarsion::add_string(root, "s", "a/\"b\""));
    EXPECT_TRUE(tarsion::add_bool(root, "t", true));
    EXPECT_TRUE(tarsion::add_bool(root, "f", false));
    EXPECT_TRUE(tarsion::add_int64(root, "max", std::numeric_limits<std::int64_t>::max()));
    EXPECT_TRUE(tarsion::add_int64(root, "min", std::numeric_limits<std::int64_t>::min()));
    EXPECT_TRUE(tarsion::add_uuid(root, "id", kSampleId));
    EXPECT_TRUE(tarsion::add_string(root, "s", ""));
    EXPECT_EQ(compact(root),
              R"({"s":"a\/\"b\"","t":true,"f":false,"max":9223372036854775807,)"
              R"("min":-9223372036854775808,"id":"01234567-89ab-cdef-fedc-ba9876543210","s":""})");
    EXPECT_TRUE(json_test::parent_links_hold(root));
}

TEST(JsonTypedAdders, WrittenMembersReadBackThroughTheGetters)
{
    json_node root = object_root();
    ASSERT_TRUE(tarsion::add_int64(root, "n", -42));
    ASSERT_TRUE(tarsion::add_uuid(root, "id", uuid{~0ULL, 1}));
    ASSERT_TRUE(tarsion::add_bool(root, "b", true));
    json_node reread;
    ASSERT_TRUE(tarsion::parse_json(compact(root), reread));
    std::int64_t n = 0;
    uuid id;
    bool b = false;
    EXPECT_TRUE(tarsion::get_int64(reread, "n", n));
    EXPECT_TRUE(tarsion::get_uuid(reread, "id", id));
    EXPECT_TRUE(tarsion::get_bool(reread, "b", b));
    EXPECT_EQ(n, -42);
    EXPECT_EQ(id, (uuid{~0ULL, 1}));
    EXPECT_TRUE(b);
}

struct UuidFormatCase
{
    uuid id;
    const char* text;
};

class JsonUuidFormat : public testing::TestWithParam<UuidFormatCase> {};

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

TEST(JsonRecordAdders, RecordBecomesAnObjectMember)
{
    json_node root = object_root();
    EXPECT_TRUE(tarsion::add_record(root, "r", test_record{"x", 2}));
    EXPECT_EQ(compact(root), R"({"r":{"name":"x","count":2}})");
    EXPECT_TRUE(json_test::parent_links_hold(root));
}

TEST(JsonRecordAdders, RecordThatFailsKeepsWhatItWroteAndReportsFalse)
{
    json_node root = object_root();
    test_record refusing{"x", 2};
    refusing.refuse_to_write = true;
    EXPECT_FALSE(tarsion::add_record(root, "r", refusing));
    EXPECT_EQ(compact(root), R"({"r":{"name":"x","count":2}})");
}

TEST(JsonRecordAdders, ListWritesEveryRecordEvenAfterAFailure)
{
    std::vector<test_record> items{{"a", 1}, {"b", 2}, {"c", 3}};
    items[1].refuse_to_write = true;
    json_node root = object_root();
    EXPECT_FALSE(tarsion::add_list(root, "items", items));
    EXPECT_EQ(compact(root),
              R"({"items":[{"name":"a","count":1},{"name":"b","count":2},{"name":"c","count":3}]})");
    EXPECT_TRUE(json_test::parent_links_hold(root));
}

TEST(JsonRecordAdders, RecordListReadsBackThroughGetList)
{
    const std::vector<test_record> items{{"a", 1}, {"b\n", -2}};
    json_node root = object_root();
    ASSERT_TRUE(tarsion::add_list(root, "items", items));
    json_node reread;
    ASSERT_TRUE(tarsion::parse_json(compact(root), reread));
    std::vector<test_record> out;
    EXPECT_TRUE(tarsion::get_list(reread, "items", out));
    ASSERT_EQ(out.size(), 2u);
    EXPECT_EQ(out[1].name, "b\n");
    EXPECT_EQ(out[1].count, -2);
}

TEST(JsonRecordAdders, StringAndUuidListsAreArraysOfStrings)
{
    json_node root = object_root();
    EXPECT_TRUE(tarsion::add_list(root, "s", std::vector<std::string>{"a", "", "/"}));
    EXPECT_TRUE(tarsion::add_list(root, "ids", std::vector<uuid>{kSampleId, uuid{}}));
    EXPECT_EQ(compact(root), R"({"s":["a","","\/"],)"
                             R"("ids":["01234567-89ab-cdef-fedc-ba9876543210","00000000-0000-0000-0000-000000000000"]})");
}

TEST(JsonRecordAdders, EmptyListsAndMapsStillWriteTheirMember)
{
    json_node root = object_root();
    EXPECT_TRUE(tarsion::add_list(root, "r", std::vector<test_record>{}));
    EXPECT_TRUE(tarsion::add_list(root, "s", std::vector<std::string>{}));
    EXPECT_TRUE(tarsion::add_list(root, "u", std::vector<uuid>{}));
    EXPECT_TRUE(tarsion::add_map(root, "m", {}));
    EXPECT_EQ(compact(root), R"({"r":[],"s":[],"u":[],"m":{}})");
}

TEST(JsonRecordAdders, MapIsWrittenInMapOrderAsStrings)
{
    json_node root = object_root();
    EXPECT_TRUE(tarsion::add_map(root, "m", {{"b", "2"}, {"a", "x\"y"}, {"c", ""}}));
    EXPECT_EQ(compact(root), R"({"m":{"a":"x\"y","b":"2","c":""}})");
    std::map<std::string, std::string> out;
    json_node reread;
    ASSERT_TRUE(tarsion::parse_json(compact(root), reread));
    EXPECT_TRUE(tarsion::get_map(reread, "m", out));
    EXPECT_EQ(out, (std::map<std::string, std::string>{{"a", "x\"y"}, {"b", "2"}, {"c", ""}}));
}

} // namespace
