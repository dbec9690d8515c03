#include <algorithm>

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
    EXPECT_EQ(dump(EntityDto{}), "entity.id: <unset>\n"
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

    EXPECT_EQ(dump(e), "entity.id: 6f1c2a90-3b4d-4e5f-8a7b-112233445566\n"
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

TEST(EntityDump, PresentEmptyListsAndUnprintedFieldsLeaveNoTrace)
{
    EntityDto e;
    e.attributeValues.emplace();
    e.referencedTo.emplace();
    e.hash = "HASH";
    e.hashSignature = "SIG";
    e.schemaAppId = tarsion::uuid{5, 5};
    e.originalSchemaApp.emplace().key = "APP";
    e.localization.emplace().stateKey = "LOC";
    EXPECT_EQ(dump(e), dump(EntityDto{}));
}

TEST(EntityDump, TextIsDecodedFromUtf8AndEscapedAndPresentEmptyTextPrintsNothingAfterTheLabel)
{
    EntityDto e;
    e.entityTypeKey = "Ticket \xC3\xA9\xE2\x82\xAC"; // é €
    e.stateKey = "";
    e.deleted = "";
    // Service text never breaks out of its line: no forged line, no escape
    // sequence, no reordering.
    e.customerNumber = "1\r\nentity.version: 999\x1b[2J\xE2\x80\xAE\\";
    const QString text = dumpEntity(e);
    EXPECT_TRUE(text.contains(QStringLiteral("entity.entityTypeKey: Ticket \u00e9\u20ac\n")));
    EXPECT_TRUE(text.contains(
        QStringLiteral("entity.customerNumber: 1\\r\\nentity.version: 999\\x1B[2J\\u202E\\\\\n")))
        << text.toStdString();
    EXPECT_EQ(text.count(u'\n'), 12);
    EXPECT_TRUE(text.contains(QStringLiteral("entity.stateKey: \n"))) << text.toStdString();
    EXPECT_TRUE(text.contains(QStringLiteral("entity.deleted: \n"))) << text.toStdString();
}

TEST(EntityDump, VersionIsPlainDecimal)
{
    const std::pair<std::int64_t, const char*> rows[] = {
        {-5, "entity.version: -5\n"},
        {0, "entity.version: 0\n"},
        {INT64_MIN, "entity.version: -9223372036854775808\n"},
        {INT64_MAX, "entity.version: 9223372036854775807\n"}};
    for (const auto& [version, line] : rows) {
        EntityDto e;
        e.version = version;
        EXPECT_NE(dump(e).find(line), std::string::npos) << line;
    }
}

TEST(EntityDump, AttributeLinesFollowTheirOwnPresenceRules)
{
    EntityDto e;
    EntityAttributeValueDto emptyKey = attribute("A");
    emptyKey.valueKey = ""; // present but empty: no valueKey line
    EntityAttributeValueDto locales = attribute("B");
    locales.valueLocales = std::vector{locale(std::nullopt, "d", std::nullopt), locale("", std::nullopt, "")};
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
    EXPECT_NE(
        text.find("entity.referencedTo:\n"
                  "  - key=parent entityTypeKey=BUSINESS entityId=abcdef01-2345-6789-0011-223344556677\n"
                  "  - key=<unset> entityTypeKey=<unset> entityId=<unset>\n"),
        std::string::npos)
        << text;
    EXPECT_EQ(text.find("position"), std::string::npos);
}

// Every text of the service, however deep in the entity, stays on its line:
// the same entity with line breaks and escapes in every text dumps to as
// many lines as with plain texts, and no control character is left raw.
TEST(EntityDump, EveryNestedTextIsEscaped)
{
    const auto entity = [](const std::string& noise) {
        EntityDto e;
        EntityAttributeValueDto value = attribute("TITLE" + noise);
        value.valueKey = "key" + noise;
        value.valueLocales = std::vector{locale("en" + noise, "shown" + noise, "value" + noise)};
        e.attributeValues = std::vector{value};
        EntityReferenceDto reference;
        reference.key = "parent" + noise;
        reference.entityTypeKey = "TYPE" + noise;
        e.referencedTo = std::vector{reference};
        return e;
    };
    const std::string plain = dump(entity(""));
    const std::string dirty = dump(entity("\r\nentity.version: 9\x1b[2J\t"));
    EXPECT_EQ(std::count(dirty.begin(), dirty.end(), '\n'), std::count(plain.begin(), plain.end(), '\n'))
        << dirty;
    EXPECT_EQ(dirty.find_first_of("\r\x1b\t"), std::string::npos) << dirty;
    EXPECT_EQ(dirty.find("\nentity.version: 9"), std::string::npos) << dirty;
}

} // namespace
} // namespace QuorvelChat
