#include "EntityQuery.h"
#include "QueryEvaluator.h"

#include <gtest/gtest.h>

#include <QJsonArray>
#include <QJsonObject>

#include <initializer_list>
#include <utility>

namespace QuorvelEmulatorTest {
namespace {

using namespace QuorvelEmulator;

using Locales = std::initializer_list<std::pair<const char*, const char*>>;

QJsonObject attribute(const char* key, Locales locales, const char* valueKey = nullptr)
{
    QJsonArray list;
    for (const auto& [locale, value] : locales)
        list.append(QJsonObject{{QStringLiteral("key"), QLatin1String(locale)},
                                {QStringLiteral("value"), QString::fromUtf8(value)}});
    QJsonObject object{{QStringLiteral("attributeKey"), QLatin1String(key)},
                       {QStringLiteral("valueLocales"), list}};
    if (valueKey)
        object.insert(QStringLiteral("valueKey"), QLatin1String(valueKey));
    return object;
}

QJsonObject entity(const char* id, const char* type, const char* state,
                   std::initializer_list<QJsonObject> attributes)
{
    QJsonArray list;
    for (const QJsonObject& a : attributes)
        list.append(a);
    return QJsonObject{{QStringLiteral("id"), QLatin1String(id)},
                       {QStringLiteral("entityTypeKey"), QLatin1String(type)},
                       {QStringLiteral("stateKey"), QLatin1String(state)},
                       {QStringLiteral("attributeValues"), list}};
}

const QJsonObject kTicketA = entity("00000000-0000-4000-8000-00000000000a", "TICKET", "OPEN",
                                    {attribute("COLOUR", {{"EN_US", "Red"}, {"DE_DE", "Rot"}}, "RED"),
                                     attribute("SIZE", {{"EN_US", "Big"}})});
const QJsonObject kTicketB = entity("00000000-0000-4000-8000-00000000000b", "TICKET", "CLOSED",
                                    {attribute("COLOUR", {{"EN_US", "Blue"}, {"DE_DE", "Blau"}}, "BLUE")});
const QJsonObject kNote = entity("00000000-0000-4000-8000-00000000000c", "NOTE", "OPEN",
                                 {attribute("COLOUR", {{"EN_US", "Red"}}, "RED")});
const QList<QJsonObject> kAll{kTicketA, kTicketB, kNote};

QStringList ids(const QList<QJsonObject>& entities)
{
    QStringList list;
    for (const QJsonObject& e : entities)
        list.append(e.value(QLatin1String("id")).toString().right(1));
    return list;
}

AttributeFilter filter(const char* key, const char* value, bool ignoreCase = false,
                       std::optional<QStringList> locales = std::nullopt)
{
    return AttributeFilter{QLatin1String(key), QString::fromUtf8(value), ignoreCase, std::move(locales)};
}

TEST(EmulatorEvaluation, TypeKeysSelectOnlyTheListedTypes)
{
    EntityQuery query;
    EXPECT_EQ(ids(selectEntities(kAll, query)), QStringList({"a", "b", "c"}));

    query.entityTypeKeys = QStringList{QStringLiteral("NOTE")};
    EXPECT_EQ(ids(selectEntities(kAll, query)), QStringList({"c"}));

    query.entityTypeKeys = QStringList{};
    EXPECT_EQ(ids(selectEntities(kAll, query)), QStringList());
}

TEST(EmulatorEvaluation, EqualsComparesExactlyUnlessIgnoreCaseIsSet)
{
    EXPECT_TRUE(matchesAttributeFilter(kTicketA, filter("COLOUR", "Red")));
    EXPECT_FALSE(matchesAttributeFilter(kTicketA, filter("COLOUR", "RED ")));
    EXPECT_FALSE(matchesAttributeFilter(kTicketA, filter("COLOUR", "rot")));
    EXPECT_TRUE(matchesAttributeFilter(kTicketA, filter("COLOUR", "rot", true)));
    EXPECT_FALSE(matchesAttributeFilter(kTicketA, filter("COLOUR", "Re", true)));
    // The attribute key itself is matched exactly.
    EXPECT_FALSE(matchesAttributeFilter(kTicketA, filter("colour", "Red")));
}

TEST(EmulatorEvaluation, LocalesLimitWhichLocalisedValuesMayMatch)
{
    const QStringList german{QStringLiteral("DE_DE")};
    EXPECT_TRUE(matchesAttributeFilter(kTicketA, filter("COLOUR", "Rot", false, german)));
    EXPECT_FALSE(matchesAttributeFilter(kTicketA, filter("COLOUR", "Red", false, german)));
    EXPECT_TRUE(matchesAttributeFilter(kTicketA, filter("COLOUR", "Red", false, std::nullopt)));
    EXPECT_FALSE(matchesAttributeFilter(kTicketA, filter("SIZE", "Big", false, german)));
}

TEST(EmulatorEvaluation, ValueKeyMatchesWhateverTheLocales)
{
    const QStringList french{QStringLiteral("FR_FR")};
    EXPECT_TRUE(matchesAttributeFilter(kTicketA, filter("COLOUR", "RED", false, french)));
    EXPECT_TRUE(matchesAttributeFilter(kTicketB, filter("COLOUR", "blue", true, french)));
    EXPECT_FALSE(matchesAttributeFilter(kTicketB, filter("COLOUR", "blue", false, french)));
}

TEST(EmulatorEvaluation, EveryCriterionMustHold)
{
    EntityQuery query;
    query.attributeFilters = {filter("COLOUR", "RED")};
    EXPECT_EQ(ids(selectEntities(kAll, query)), QStringList({"a", "c"}));

    query.entityTypeKeys = QStringList{QStringLiteral("TICKET")};
    EXPECT_EQ(ids(selectEntities(kAll, query)), QStringList({"a"}));

    query.attributeFilters.append(filter("SIZE", "Small"));
    EXPECT_EQ(ids(selectEntities(kAll, query)), QStringList());
}

TEST(EmulatorEvaluation, IdsAndStateKeysSelectAsListed)
{
    EntityQuery query;
    query.stateKeys = QStringList{QStringLiteral("OPEN")};
    EXPECT_EQ(ids(selectEntities(kAll, query)), QStringList({"a", "c"}));

    query.ids = QStringList{QStringLiteral("00000000-0000-4000-8000-00000000000c"),
                            QStringLiteral("00000000-0000-4000-8000-00000000000b")};
    EXPECT_EQ(ids(selectEntities(kAll, query)), QStringList({"c"}));
}

TEST(EmulatorEvaluation, EntityIdsInTheQueryMatchInEitherCase)
{
    QJsonObject upper = kTicketA;
    upper.insert(QStringLiteral("id"), QStringLiteral("ABCDEF00-0000-4000-8000-00000000000A"));
    const auto query = parseEntityQuery(R"({"entitiesByIds":["abcdef00-0000-4000-8000-00000000000a"]})");
    ASSERT_TRUE(query.has_value()) << query.error().toStdString();

    EXPECT_EQ(selectEntities({upper, kTicketB}, *query).size(), 1);
}

TEST(EmulatorEvaluation, PagingSkipsThenTakes)
{
    EXPECT_EQ(ids(pageEntities(kAll, Paging{1, 1})), QStringList({"b"}));
    EXPECT_EQ(ids(pageEntities(kAll, Paging{1, std::nullopt})), QStringList({"b", "c"}));
    EXPECT_EQ(ids(pageEntities(kAll, Paging{0, 0})), QStringList());
    EXPECT_EQ(ids(pageEntities(kAll, Paging{3, 5})), QStringList());
    EXPECT_EQ(ids(pageEntities(kAll, Paging{2, 4294967295})), QStringList({"c"}));
}

} // namespace
} // namespace QuorvelEmulatorTest
