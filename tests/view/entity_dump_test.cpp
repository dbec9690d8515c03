#include <gtest/gtest.h>

#include "view/EntityDump.h"

namespace QuorvelChat {
namespace {

using namespace tarsion::quorvel::dto;

std::string dump(const EntityDto& entity)
{
    return dumpEntity(entity).toStdString();
}

EntityAttributeValueDto attribute(std::optional<std::string> key)
{
    EntityAttributeValueDto value;
    value.attributeKey = std::move(key);
    return value;
}

ValueLocaleDto locale(std::optional<std::string> key, std::optional<std::string> display,
                      std::optional<std::string> value)
{
    ValueLocaleDto l;
    l.key = std::move(key);
    l.display = std::move(display);
    l.value = std::move(value);
    return l;
}

TEST(EntityDump, DefaultEntityIsTwelveUnsetOrEmptyLines)
{
    EXPECT_EQ(dump(EntityDto{}),
              "entity.id: <unset>\n"
              "entity.entityTypeKey: <unset>\n"
              "entity.entityTypeId: <unset>\n"
              "entity.stateKey: <unset>\n"
              "entity.stateId: <unset>\n"
              "entity.isDraft: <unset>\n"
              "entity.version: <unset>\n"
              "entity.deleted: <unset>\n"
              "entity.customerNumber: <unset>\n"
              "entity.schemaAppKey: <unset>\n"
              "entity.attributeValues: <empty>\n"
              "entity.referencedTo: <empty>\n");
}

TEST(EntityDump, ReproducesTheReferenceExample)
{
    EntityDto e;
    e.id = tarsion::uuid{0x6f1c2a903b4d4e5full, 0x8a7b112233445566ull};
    e.entityTypeKey = "BUSINESS_TICKET";
    e.stateKey = "OPEN";
    e.isDraft = false;
    e.version = 3;
    EntityAttributeValueDto title = attribute("TICKET_TITLE");
    title.valueKey = "k1";
    title.valueLocales = std::vector{locale("en", "Support", "Support")};
    e.attributeValues = std::vector{title, attribute(std::nullopt)};

    EXPECT_EQ(dump(e),
              "entity.id: 6f1c2a90-3b4d-4e5f-8a7b-112233445566\n"
              "entity.entityTypeKey: BUSINESS_TICKET\n"
              "entity.entityTypeId: <unset>\n"
              "entity.stateKey: OPEN\n"
              "entity.stateId: <unset>\n"
              "entity.isDraft: false\n"
              "entity.version: 3\n"
              "entity.deleted: <unset>\n"
              "entity.customerNumber: <unset>\n"
              "entity.schemaAppKey: <unset>\n"
              "entity.attributeValues:\n"
              "  - attributeKey: TICKET_TITLE\n"
              "    valueKey: k1\n"
              "    locale[en] display=Support value=Support\n"
              "  - attributeKey: <unset>\n"
              "entity.referencedTo: <empty>\n");
}

TEST(EntityDump, PresentEmptyListsPrintLikeAbsentOnes)
{
    EntityDto e;
    e.attributeValues.emplace();
    e.referencedTo.emplace();
    EXPECT_EQ(dump(e), dump(EntityDto{}));
}

TEST(EntityDump, PresentEmptyTextPrintsNothingAfterTheLabel)
{
    EntityDto e;
    e.stateKey = "";
    e.deleted = "";
    const std::string text = dump(e);
    EXPECT_NE(text.find("entity.stateKey: \n"), std::string::npos);
    EXPECT_NE(text.find("entity.deleted: \n"), std::string::npos);
}

struct VersionCase
{
    std::int64_t version;
    const char* line;
};

class EntityDumpVersion : public ::testing::TestWithParam<VersionCase>
{
};

TEST_P(EntityDumpVersion, IsPlainDecimal)
{
    EntityDto e;
    e.version = GetParam().version;
    EXPECT_NE(dump(e).find(GetParam().line), std::string::npos) << GetParam().line;
}

INSTANTIATE_TEST_SUITE_P(
    Values, EntityDumpVersion,
    ::testing::Values(VersionCase{-5, "entity.version: -5\n"}, VersionCase{0, "entity.version: 0\n"},
                      VersionCase{1234567, "entity.version: 1234567\n"},
                      VersionCase{INT64_MIN, "entity.version: -9223372036854775808\n"},
                      VersionCase{INT64_MAX, "entity.version: 9223372036854775807\n"}));

TEST(EntityDump, AttributeLinesFollowTheirOwnPresenceRules)
{
    EntityDto e;
    EntityAttributeValueDto emptyKey = attribute("A");
    emptyKey.valueKey = ""; // present but empty: no valueKey line
    EntityAttributeValueDto locales = attribute("B");
    locales.valueLocales = std::vector{locale(std::nullopt, "d", std::nullopt),
                                       locale("", std::nullopt, "")};
    EntityAttributeValueDto noLocales = attribute("C");
    noLocales.valueLocales.emplace();
    e.attributeValues = std::vector{emptyKey, locales, noLocales};

    const std::string text = dump(e);
    EXPECT_NE(text.find("entity.attributeValues:\n"
                        "  - attributeKey: A\n"
                        "  - attributeKey: B\n"
                        "    locale[<no-key>] display=d value=<unset>\n"
                        "    locale[] display=<unset> value=\n"
                        "  - attributeKey: C\n"
                        "entity.referencedTo: <empty>\n"),
              std::string::npos)
        << text;
}

TEST(EntityDump, ReferencesPrintKeyTypeAndTargetOnly)
{
    EntityDto e;
    EntityReferenceDto full;
    full.key = "parent";
    full.entityTypeKey = "BUSINESS";
    full.entityId = tarsion::uuid{0xABCDEF0123456789ull, 0x0011223344556677ull};
    full.position = "1";
    full.id = tarsion::uuid{1, 1};
    e.referencedTo = std::vector{full, EntityReferenceDto{}};

    const std::string text = dump(e);
    EXPECT_NE(text.find("entity.referencedTo:\n"
                        "  - key=parent entityTypeKey=BUSINESS entityId=abcdef01-2345-6789-0011-223344556677\n"
                        "  - key=<unset> entityTypeKey=<unset> entityId=<unset>\n"),
              std::string::npos)
        << text;
    EXPECT_EQ(text.find("position"), std::string::npos);
}

TEST(EntityDump, UnprintedFieldsLeaveNoTrace)
{
    EntityDto e;
    e.hash = "HASH";
    e.hashSignature = "SIG";
    e.schemaAppId = tarsion::uuid{5, 5};
    e.originalSchemaApp.emplace().key = "APP";
    e.localization.emplace().stateKey = "LOC";
    EXPECT_EQ(dump(e), dump(EntityDto{}));
}

TEST(EntityDump, Utf8TextIsDecoded)
{
    EntityDto e;
    e.entityTypeKey = "Ticket \xC3\xA9\xE2\x82\xAC"; // é €
    EXPECT_TRUE(dumpEntity(e).contains(QStringLiteral("entity.entityTypeKey: Ticket \u00e9\u20ac\n")));
}

} // namespace
} // namespace QuorvelChat
