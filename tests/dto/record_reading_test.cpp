// How records are read: key lookup, per-kind rules, and what a failure leaves.
#include <gtest/gtest.h>

#include "record_test_support.h"
#include "sdk/dto/BusinessEntitiesQueryDto.h"
#include "sdk/dto/EntityDto.h"

namespace tarsion::quorvel::dto {
namespace {

using tarsion::testing::read;
using tarsion::testing::write;

TEST(RecordKeyLookup, IsAsciiCaseInsensitiveAndTakesTheFirstMatch)
{
    EntityDto e;
    ASSERT_TRUE(read(e, R"({"Id":"0123abcd-0000-0000-0000-0000000000FF"})"));
    ASSERT_TRUE(e.id.has_value());
    EXPECT_EQ(*e.id, (uuid{0x0123abcd00000000ull, 0x00000000000000ffull}));
    EXPECT_EQ(write(e), R"({"id":"0123abcd-0000-0000-0000-0000000000ff"})");

    ASSERT_TRUE(read(e, R"({"stateKey":"a","STATEKEY":"b"})"));
    EXPECT_EQ(e.stateKey, "a");
    ASSERT_TRUE(read(e, R"({"STATEKEY":"b","stateKey":"a"})"));
    EXPECT_EQ(e.stateKey, "b");
}

TEST(RecordKeyLookup, EmptyObjectClearsARecordThatHadValues)
{
    EntityDto e;
    ASSERT_TRUE(read(e, R"({"id":"00000000-0000-0000-0000-000000000001","stateKey":"s",
                           "referencedTo":[],"localization":{}})"));
    ASSERT_TRUE(e.id && e.stateKey && e.referencedTo && e.localization);
    EXPECT_TRUE(read(e, "{}"));
    EXPECT_FALSE(e.id || e.stateKey || e.referencedTo || e.localization);
}

struct ScalarCase
{
    const char* json;
    bool ok;
    std::optional<std::int64_t> version;
};

class Int64Field : public ::testing::TestWithParam<ScalarCase>
{
};

TEST_P(Int64Field, ReadsTheScalarTextOfStringsAndNumbersAlike)
{
    const ScalarCase& c = GetParam();
    EntityDto e;
    EXPECT_EQ(read(e, c.json), c.ok) << c.json;
    // A failed read leaves the field present with 0.
    ASSERT_TRUE(e.version.has_value()) << c.json;
    EXPECT_EQ(*e.version, c.ok ? *c.version : 0) << c.json;
}

INSTANTIATE_TEST_SUITE_P(
    Forms, Int64Field,
    ::testing::Values(ScalarCase{R"({"version":12})", true, 12},
                      ScalarCase{R"({"version":"12"})", true, 12},
                      ScalarCase{R"({"version":"007"})", true, 7},
                      ScalarCase{R"({"version":-0})", true, 0},
                      ScalarCase{R"({"version":9223372036854775807})", true, INT64_MAX},
                      ScalarCase{R"({"version":-9223372036854775808})", true, INT64_MIN},
                      ScalarCase{R"({"version":"+12"})", false, {}},
                      ScalarCase{R"({"version":"1.0"})", false, {}},
                      ScalarCase{R"({"version":1e3})", false, {}},
                      ScalarCase{R"({"version":"-"})", false, {}},
                      ScalarCase{R"({"version":""})", false, {}},
                      ScalarCase{R"({"version":" 1"})", false, {}},
                      ScalarCase{R"({"version":null})", false, {}},
                      ScalarCase{R"({"version":9223372036854775808})", false, {}},
                      ScalarCase{R"({"version":-9223372036854775809})", false, {}}));

struct BoolCase
{
    const char* json;
    bool ok;
    bool value;
};

class BoolField : public ::testing::TestWithParam<BoolCase>
{
};

TEST_P(BoolField, AcceptsOnlyTheExactLiterals)
{
    const BoolCase& c = GetParam();
    EntityDto e;
    EXPECT_EQ(read(e, c.json), c.ok) << c.json;
    ASSERT_TRUE(e.isDraft.has_value()) << c.json;
    EXPECT_EQ(*e.isDraft, c.value) << c.json;
}

INSTANTIATE_TEST_SUITE_P(Forms, BoolField,
                         ::testing::Values(BoolCase{R"({"isDraft":true})", true, true},
                                           BoolCase{R"({"isDraft":false})", true, false},
                                           BoolCase{R"({"isDraft":"true"})", true, true},
                                           BoolCase{R"({"isDraft":"TRUE"})", false, false},
                                           BoolCase{R"({"isDraft":1})", false, false},
                                           BoolCase{R"({"isDraft":null})", false, false}));

TEST(UuidField, AcceptsEitherCaseAndRejectsEveryOtherShape)
{
    const char* rejected[] = {
        "xyz",
        "0123abcd-0000-0000-0000-0000000000f",   // 35 characters
        "0123abcd-0000-0000-0000-0000000000fff", // 37 characters
        "0123abcd00000-0000-0000-0000000000ff",  // dash moved
        "0123abcg-0000-0000-0000-0000000000ff",  // not hexadecimal
        "{0123abcd-0000-0000-0000-00000000000}",
    };
    for (const char* text : rejected) {
        EntityDto e;
        EXPECT_FALSE(read(e, std::string(R"({"id":")") + text + "\"}")) << text;
        ASSERT_TRUE(e.id.has_value()) << text;
        EXPECT_TRUE(e.id->is_nil()) << text;
    }
    EntityDto e;
    ASSERT_TRUE(read(e, R"({"id":"FFFFFFFF-ffff-FfFf-0000-000000000001"})"));
    EXPECT_EQ(*e.id, (uuid{~0ull, 1}));
}

TEST(TextField, TakesAnyScalarTextAsItStands)
{
    EntityDto e;
    ASSERT_TRUE(read(e, R"({"stateKey":null,"deleted":"2024-01-01","hash":12,"hashType":""})"));
    EXPECT_EQ(e.stateKey, "null");
    EXPECT_EQ(e.deleted, "2024-01-01");
    EXPECT_EQ(e.hash, "12");
    EXPECT_EQ(e.hashType, "");
}

TEST(ReadFailure, LeavesEveryLaterFieldAbsentAndKeepsEarlierOnes)
{
    EntityDto e;
    EXPECT_FALSE(read(e, R"({"entityTypeKey":"T","stateKey":"A","id":"xyz"})"));
    ASSERT_TRUE(e.id.has_value());
    EXPECT_TRUE(e.id->is_nil());
    // Declared after id: ignored even though the object holds it.
    EXPECT_FALSE(e.entityTypeKey.has_value());
    EXPECT_FALSE(e.stateKey.has_value());

    EXPECT_FALSE(read(e, R"({"id":"00000000-0000-0000-0000-000000000002","isDraft":"no",
                            "version":3,"hash":"h"})"));
    EXPECT_EQ(e.id, (uuid{0, 2}));
    EXPECT_EQ(e.isDraft, false);
    EXPECT_FALSE(e.version.has_value());
    EXPECT_FALSE(e.hash.has_value());
}

TEST(RecordList, ReadsEveryElementEvenAfterOneFails)
{
    EntityDto e;
    EXPECT_FALSE(read(e, R"({"referencedTo":[{"id":"bad"},{"key":"k"}],"stateKey":"s"})"));
    ASSERT_TRUE(e.referencedTo.has_value());
    ASSERT_EQ(e.referencedTo->size(), 2u);
    EXPECT_EQ((*e.referencedTo)[0].id, uuid{});
    EXPECT_FALSE((*e.referencedTo)[1].id.has_value());
    EXPECT_EQ((*e.referencedTo)[1].key, "k");
    EXPECT_FALSE(e.stateKey.has_value());
}

TEST(RecordList, PresentAndEmptyDiffersFromAbsent)
{
    EntityDto e;
    ASSERT_TRUE(read(e, R"({"attributeValues":[]})"));
    ASSERT_TRUE(e.attributeValues.has_value());
    EXPECT_TRUE(e.attributeValues->empty());
    EXPECT_EQ(write(e), R"({"attributeValues":[]})");

    e.attributeValues.reset();
    EXPECT_EQ(write(e), "{}");
}

TEST(RecordList, ElementsThatAreNotObjectsReadAsEmptyRecords)
{
    EntityDto e;
    ASSERT_TRUE(read(e, R"({"attributeValues":[1,"x",{"attributeKey":"A"}]})"));
    ASSERT_EQ(e.attributeValues->size(), 3u);
    EXPECT_EQ(write((*e.attributeValues)[0]), "{}");
    EXPECT_EQ((*e.attributeValues)[2].attributeKey, "A");
}

TEST(UuidList, KeepsFailedElementsAsNil)
{
    BusinessEntitiesQueryDto q;
    EXPECT_FALSE(read(q, R"({"entitiesByIds":["00000000-0000-0000-0000-00000000000a","no",
                              "00000000-0000-0000-0000-00000000000B"]})"));
    ASSERT_TRUE(q.entitiesByIds.has_value());
    EXPECT_EQ(*q.entitiesByIds, (std::vector<uuid>{{0, 10}, {}, {0, 11}}));
}

TEST(TextMap, IsOrderedByKeyAndLaterDuplicatesOverwrite)
{
    EntityDto e;
    ASSERT_TRUE(read(e, R"({"localization":{"localeStates":{"en":"x","de":"y","en":"z","EN":"w"}}})"));
    ASSERT_TRUE(e.localization.has_value());
    const auto& states = *e.localization->localeStates;
    EXPECT_EQ(states, (text_map{{"EN", "w"}, {"de", "y"}, {"en", "z"}}));
    EXPECT_EQ(write(*e.localization), R"({"localeStates":{"EN":"w","de":"y","en":"z"}})");
}

TEST(NestedRecord, ANonObjectValueGivesAPresentEmptyRecord)
{
    for (const char* json : {R"({"originalSchemaApp":"x"})", R"({"originalSchemaApp":null})",
                             R"({"originalSchemaApp":[{"key":"k"}]})"}) {
        EntityDto e;
        EXPECT_TRUE(read(e, json)) << json;
        ASSERT_TRUE(e.originalSchemaApp.has_value()) << json;
        EXPECT_FALSE(e.originalSchemaApp->key.has_value()) << json;
    }
}

TEST(NestedRecord, AFailureInsideFailsTheOuterRecord)
{
    EntityDto e;
    EXPECT_FALSE(read(e, R"({"localization":{"localeStates":{}},"attributeValues":[
                            {"localization":{"stateKey":"s"},"valueLocales":[{"key":"EN_US"}],"id":"x"}],
                            "customerNumber":"c"})"));
    ASSERT_TRUE(e.localization.has_value());
    ASSERT_TRUE(e.attributeValues.has_value());
    const auto& value = (*e.attributeValues)[0];
    EXPECT_TRUE(value.id.has_value());
    // Fields after the failed id inside the element stay absent.
    EXPECT_FALSE(value.localization.has_value());
    EXPECT_FALSE(value.valueLocales.has_value());
    EXPECT_FALSE(e.customerNumber.has_value());
}

} // namespace
} // namespace tarsion::quorvel::dto
