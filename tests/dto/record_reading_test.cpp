// How records are read: key lookup, per-kind rules, and what a failure leaves.
// A read record is observed through what it writes back, which shows every
// field's presence and value at once.
#include <gtest/gtest.h>

#include "record_test_support.h"
#include "sdk/dto/BusinessEntitiesQueryDto.h"
#include "sdk/dto/EntityDto.h"

namespace tarsion::quorvel::dto {
namespace {

using tarsion::testing::read;
using tarsion::testing::write;

struct read_case
{
    const char* name;
    const char* json;
    bool ok;
    const char* written;
};

class RecordReading : public ::testing::TestWithParam<read_case>
{
};

TEST_P(RecordReading, LeavesTheFieldsItShould)
{
    const read_case& c = GetParam();
    EntityDto e;
    EXPECT_EQ(read(e, c.json), c.ok);
    EXPECT_EQ(write(e), c.written);
}

#define NIL_ID "\"00000000-0000-0000-0000-000000000000\""

// The getters' text rules are json_getters_test's business; these rows are
// about what a record makes of their result.
INSTANTIATE_TEST_SUITE_P(
    Kinds, RecordReading,
    ::testing::Values(
        read_case{"KeyIsCaseInsensitive", R"({"Id":"0123abcd-0000-0000-0000-0000000000FF"})", true,
                  R"({"id":"0123abcd-0000-0000-0000-0000000000ff"})"},
        read_case{"FirstMatchingKeyWins", R"({"stateKey":"a","STATEKEY":"b"})", true, R"({"stateKey":"a"})"},
        read_case{"FirstMatchingKeyWinsWhateverItsCase", R"({"STATEKEY":"b","stateKey":"a"})", true,
                  R"({"stateKey":"b"})"},
        read_case{"QuotedNumber", R"({"version":"12"})", true, R"({"version":12})"},
        // A failed scalar stays present, with the kind's zero.
        read_case{"BadNumberStaysAsZero", R"({"version":"+12"})", false, R"({"version":0})"},
        read_case{"NullIsNoNumber", R"({"version":null})", false, R"({"version":0})"},
        read_case{"QuotedBool", R"({"isDraft":"true"})", true, R"({"isDraft":true})"},
        read_case{"BadBoolStaysAsFalse", R"({"isDraft":"TRUE"})", false, R"({"isDraft":false})"},
        read_case{"UuidInMixedCase", R"({"id":"FFFFFFFF-ffff-FfFf-0000-000000000001"})", true,
                  R"({"id":"ffffffff-ffff-ffff-0000-000000000001"})"},
        read_case{"BadUuidStaysAsNil", R"({"id":"xyz"})", false, "{\"id\":" NIL_ID "}"},
        read_case{"TextTakesAnyScalarAsItStands",
                  R"({"stateKey":null,"deleted":"2024-01-01","hash":12,"hashType":""})", true,
                  R"({"stateKey":"null","deleted":"2024-01-01","hash":"12","hashType":""})"},
        read_case{"TextMapIsOrderedAndLaterDuplicatesOverwrite",
                  R"({"localization":{"localeStates":{"en":"x","de":"y","en":"z","EN":"w"}}})", true,
                  R"({"localization":{"localeStates":{"EN":"w","de":"y","en":"z"}}})"}),
    [](const auto& info) { return std::string(info.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Structure, RecordReading,
    ::testing::Values(
        read_case{"PresentEmptyListIsKept", R"({"attributeValues":[]})", true, R"({"attributeValues":[]})"},
        read_case{"ListElementsThatAreNotObjectsAreEmptyRecords",
                  R"({"attributeValues":[1,"x",{"attributeKey":"A"}]})", true,
                  R"({"attributeValues":[{},{},{"attributeKey":"A"}]})"},
        read_case{"NestedStringIsAnEmptyRecord", R"({"originalSchemaApp":"x"})", true,
                  R"({"originalSchemaApp":{}})"},
        read_case{"NestedNullIsAnEmptyRecord", R"({"originalSchemaApp":null})", true,
                  R"({"originalSchemaApp":{}})"},
        read_case{"NestedArrayIsAnEmptyRecord", R"({"originalSchemaApp":[{"key":"k"}]})", true,
                  R"({"originalSchemaApp":{}})"},
        // A failure ends the record: every field declared after the failed
        // one stays absent, even when the object holds it.
        read_case{"FailureLeavesLaterFieldsAbsent", R"({"entityTypeKey":"T","stateKey":"A","id":"xyz"})",
                  false, "{\"id\":" NIL_ID "}"},
        read_case{"FailureKeepsEarlierFields",
                  R"({"id":"00000000-0000-0000-0000-000000000002","isDraft":"no","version":3,"hash":"h"})",
                  false, R"({"id":"00000000-0000-0000-0000-000000000002","isDraft":false})"},
        read_case{"ListReadsEveryElementEvenAfterOneFails",
                  R"({"referencedTo":[{"id":"bad"},{"key":"k"}],"stateKey":"s"})", false,
                  "{\"referencedTo\":[{\"id\":" NIL_ID "},{\"key\":\"k\"}]}"},
        read_case{"FailureInsideANestedRecordFailsTheOuterOne",
                  R"({"localization":{"localeStates":{}},"attributeValues":[
                      {"localization":{"stateKey":"s"},"valueLocales":[{"key":"EN_US"}],"id":"x"}],
                      "customerNumber":"c"})",
                  false,
                  "{\"localization\":{\"localeStates\":{}},\"attributeValues\":[{\"id\":" NIL_ID "}]}"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(UuidList, KeepsFailedElementsAsNil)
{
    BusinessEntitiesQueryDto q;
    EXPECT_FALSE(read(q, R"({"entitiesByIds":["00000000-0000-0000-0000-00000000000a","no",
                              "00000000-0000-0000-0000-00000000000B"]})"));
    ASSERT_TRUE(q.entitiesByIds.has_value());
    EXPECT_EQ(*q.entitiesByIds, (std::vector<uuid>{{0, 10}, {}, {0, 11}}));
}

} // namespace
} // namespace tarsion::quorvel::dto
