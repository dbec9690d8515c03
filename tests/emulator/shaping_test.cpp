#include "EmulatorHarness.h"
#include "EntityShaper.h"

#include <gtest/gtest.h>

namespace QuorvelEmulatorTest {
namespace {

using namespace QuorvelEmulator;

QJsonObject dutyTicket()
{
    const DataStore data = shippedData();
    const auto* demo = data.business(QStringLiteral("demo"));
    if (!demo || demo->isEmpty()) {
        ADD_FAILURE() << "no demo business";
        return {};
    }
    return demo->first();
}

QStringList attributeKeys(const QJsonObject& entity)
{
    QStringList keys;
    const QJsonArray list = entity.value(QLatin1String("attributeValues")).toArray();
    for (const QJsonValue& a : list)
        keys.append(a.toObject().value(QLatin1String("attributeKey")).toString());
    return keys;
}

QStringList localeKeys(const QJsonObject& attribute)
{
    QStringList keys;
    const QJsonArray list = attribute.value(QLatin1String("valueLocales")).toArray();
    for (const QJsonValue& l : list)
        keys.append(l.toObject().value(QLatin1String("key")).toString());
    return keys;
}

TEST(EmulatorShaping, WithoutOptionsEveryAttributeStaysButReferencesStateAndLocalizationGo)
{
    const QJsonObject shaped = shapeEntity(dutyTicket(), EntitiesOptions{});

    EXPECT_EQ(attributeKeys(shaped), QStringList({"TICKET_TITLE", "IS_DEFAULT_CHANNEL", "TICKET_PRIORITY"}));
    EXPECT_EQ(localeKeys(shaped.value(QLatin1String("attributeValues")).toArray().at(0).toObject()),
              QStringList({"EN_US", "DE_DE"}));
    EXPECT_FALSE(shaped.contains(QLatin1String("referencedTo")));
    EXPECT_FALSE(shaped.contains(QLatin1String("stateKey")));
    EXPECT_FALSE(shaped.contains(QLatin1String("stateId")));
    EXPECT_FALSE(shaped.contains(QLatin1String("localization")));
    EXPECT_EQ(shaped.value(QLatin1String("version")).toInteger(), 3);
    EXPECT_EQ(shaped.value(QLatin1String("schemaAppKey")).toString(), QStringLiteral("support-desk"));
}

TEST(EmulatorShaping, AttributeKeysAndLocalesNarrowTheEntity)
{
    EntitiesOptions options;
    options.attributeKeys = QStringList{QStringLiteral("TICKET_PRIORITY"), QStringLiteral("NO_SUCH_KEY")};
    options.locales = QStringList{QStringLiteral("DE_DE")};
    const QJsonObject shaped = shapeEntity(dutyTicket(), options);

    ASSERT_EQ(attributeKeys(shaped), QStringList({"TICKET_PRIORITY"}));
    const QJsonObject priority = shaped.value(QLatin1String("attributeValues")).toArray().at(0).toObject();
    EXPECT_EQ(localeKeys(priority), QStringList({"DE_DE"}));
    EXPECT_EQ(priority.value(QLatin1String("valueKey")).toString(), QStringLiteral("NORMAL"));

    options.attributeKeys = QStringList{};
    EXPECT_TRUE(
        shapeEntity(dutyTicket(), options).value(QLatin1String("attributeValues")).toArray().isEmpty());
}

TEST(EmulatorShaping, IncludedLocalizationKeepsOnlyTheAskedLocales)
{
    EntitiesOptions options;
    options.includeLocalization = true;
    options.locales = QStringList{QStringLiteral("EN_US")};
    const QJsonObject localization =
        shapeEntity(dutyTicket(), options).value(QLatin1String("localization")).toObject();

    EXPECT_EQ(localization.value(QLatin1String("stateKey")).toString(), QStringLiteral("COMPLETE"));
    EXPECT_EQ(localization.value(QLatin1String("localeStates")).toObject().keys(), QStringList({"EN_US"}));
}

} // namespace
} // namespace QuorvelEmulatorTest
