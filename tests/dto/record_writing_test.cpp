// How records are written: each kind's JSON form, absent fields, and the rule
// that the first failed member ends a record's writing.
#include <gtest/gtest.h>

#include "record_test_support.h"
#include "sdk/dto/BusinessEntitiesQueryDto.h"

namespace tarsion::quorvel::dto {
namespace {

using tarsion::testing::write;

// A nested record that cannot write itself, to drive the failure rules.
struct Unwritable : dto_base
{
    bool from_json(const json_node&) override { return true; }
    bool to_json(json_node& object) const override
    {
        object.add_value("partial", "1", false);
        return false;
    }
};

struct Probe : record<Probe>
{
    text_field first;
    nested_field<Unwritable> broken;
    text_field after;
    list_field<Unwritable> brokenList;

    static constexpr auto fields()
    {
        return std::tuple{field("first", &Probe::first), field("broken", &Probe::broken),
                          field("after", &Probe::after), field("brokenList", &Probe::brokenList)};
    }
};

TEST(WriteFailure, StopsTheRecordAfterTheFailedMember)
{
    Probe p;
    p.first = "a";
    p.broken.emplace();
    p.after = "b";
    p.brokenList.emplace(1);
    bool ok = true;
    EXPECT_EQ(write(p, &ok), R"({"first":"a","broken":{"partial":1}})");
    EXPECT_FALSE(ok);
}

TEST(WriteFailure, WritesEveryListElementThenStops)
{
    Probe p;
    p.brokenList.emplace(3);
    bool ok = true;
    EXPECT_EQ(write(p, &ok), R"({"brokenList":[{"partial":1},{"partial":1},{"partial":1}]})");
    EXPECT_FALSE(ok);
}

// Declaration order is the round trip's business, escaping the writer's;
// this is about each field kind's JSON form.
TEST(QueryWriting, KindsKeepTheirJsonForm)
{
    BusinessEntitiesQueryDto q;
    q.timeout = "30";
    q.entitiesByDeleted = "false";
    ReferencedQueryFilterDto ref;
    ref.entityId = uuid{};
    q.entitiesByReferencedTo = std::vector{ref};
    q.entitiesByStateKeys.emplace();
    q.entitiesOptions.emplace();
    AttributeValueQueryFilterDto filter;
    filter.ignoreCase = false;
    q.entitiesByAttributeValues = std::vector{filter, AttributeValueQueryFilterDto{}};

    EXPECT_EQ(write(q), R"({"entitiesByReferencedTo":[{"entityId":"00000000-0000-0000-0000-000000000000"}],)"
                        R"("entitiesByAttributeValues":[{"ignoreCase":false},{}],)"
                        R"("entitiesByStateKeys":[],"entitiesByDeleted":"false",)"
                        R"("entitiesOptions":{},"timeout":"30"})");
}

} // namespace
} // namespace tarsion::quorvel::dto
