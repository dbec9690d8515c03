#include "EmulatorHarness.h"

#include <gtest/gtest.h>

namespace QuorvelEmulatorTest {
namespace {

const QString kDemo = QStringLiteral("demo");
const QString kDutyTicketId = QStringLiteral("5885e99b-527d-4893-af14-46c61299024e");
const QString kBillingTicketId = QStringLiteral("124adbd1-4d43-4efa-9dd8-808ff72a89a8");
const QByteArray kAllTickets = R"({"entitiesByEntityTypeKeys":["BUSINESS_TICKET"]})";

QStringList ids(const Reply& reply)
{
    QStringList list;
    const QJsonArray array = reply.json().array();
    for (const QJsonValue& entity : array)
        list.append(entity.toObject().value(QLatin1String("id")).toString());
    return list;
}

TEST(EmulatorQuery, DutyChannelQueryReturnsTheDefaultTicketShapedAsAsked)
{
    EmulatorHarness emulator;
    const Reply reply = emulator.query(kDemo, kDutyChannelQuery, emulator.token());

    ASSERT_EQ(reply.status, 200) << reply.body.toStdString();
    EXPECT_EQ(reply.header("Content-Type"), "application/json");
    // Compact, as the service writes it.
    EXPECT_FALSE(reply.body.contains('\n'));
    EXPECT_FALSE(reply.body.contains(": "));

    const QJsonArray entities = reply.json().array();
    ASSERT_EQ(entities.size(), 1);
    const QJsonObject ticket = entities.at(0).toObject();
    EXPECT_EQ(ticket.value(QLatin1String("id")).toString(), kDutyTicketId);
    EXPECT_EQ(ticket.value(QLatin1String("entityTypeKey")).toString(), QStringLiteral("BUSINESS_TICKET"));
    EXPECT_EQ(ticket.value(QLatin1String("version")).toInteger(), 3);
    EXPECT_EQ(ticket.value(QLatin1String("stateKey")).toString(), QStringLiteral("OPEN"));
    EXPECT_EQ(ticket.value(QLatin1String("stateId")).toString(),
              QStringLiteral("4f602bb8-44f8-481a-9a59-3bbf4f8345ab"));
    EXPECT_EQ(ticket.value(QLatin1String("referencedTo")).toArray().size(), 1);
    EXPECT_FALSE(ticket.contains(QLatin1String("localization")));

    const QJsonArray attributes = ticket.value(QLatin1String("attributeValues")).toArray();
    ASSERT_EQ(attributes.size(), 1);
    const QJsonObject title = attributes.at(0).toObject();
    EXPECT_EQ(title.value(QLatin1String("attributeKey")).toString(), QStringLiteral("TICKET_TITLE"));
    const QJsonArray locales = title.value(QLatin1String("valueLocales")).toArray();
    ASSERT_EQ(locales.size(), 1);
    EXPECT_EQ(locales.at(0).toObject().value(QLatin1String("key")).toString(), QStringLiteral("EN_US"));
    EXPECT_EQ(locales.at(0).toObject().value(QLatin1String("display")).toString(), QStringLiteral("Support"));
}

TEST(EmulatorQuery, DutyChannelQueryFindsNothingWhereNoTicketIsDefault)
{
    EmulatorHarness emulator;
    const Reply reply = emulator.query(QStringLiteral("empty"), kDutyChannelQuery, emulator.token());

    ASSERT_EQ(reply.status, 200) << reply.body.toStdString();
    EXPECT_EQ(reply.body, "[]");
}

TEST(EmulatorQuery, SkipAndTakePageTheMatchesInDataOrder)
{
    EmulatorHarness emulator;
    const QByteArray token = emulator.token();

    EXPECT_EQ(ids(emulator.query(kDemo, kAllTickets, token, QString())),
              QStringList({kDutyTicketId, kBillingTicketId}));
    EXPECT_EQ(ids(emulator.query(kDemo, kAllTickets, token, QStringLiteral("?Skip=1&Take=1"))),
              QStringList({kBillingTicketId}));
    EXPECT_EQ(ids(emulator.query(kDemo, kAllTickets, token, QStringLiteral("?Take=1"))),
              QStringList({kDutyTicketId}));
    EXPECT_EQ(ids(emulator.query(kDemo, kAllTickets, token, QStringLiteral("?Skip=2"))), QStringList());
    EXPECT_EQ(ids(emulator.query(kDemo, kAllTickets, token,
                                 QStringLiteral("?Skip=0&Take=0&useReplica=true&engine=a%20b%26c"))),
              QStringList());
    EXPECT_EQ(ids(emulator.query(kDemo, kAllTickets, token,
                                 QStringLiteral("?Skip=1&Take=4294967295&useReplica=false"))),
              QStringList({kBillingTicketId}));
}

TEST(EmulatorQuery, MissingUnknownOrExpiredTokenIsRefusedWith401)
{
    EmulatorHarness emulator;
    const QByteArray expiring = emulator.token();
    emulator.advanceClock(3600 * 1000);

    const Reply missing = emulator.query(kDemo, kDutyChannelQuery, QByteArray());
    const Reply basic = emulator.wait(emulator.start(
        "POST", QStringLiteral("/api/business/quorvel/demo/v0/entities/query/vector"), kDutyChannelQuery,
        {{"Authorization", "Basic " + QByteArray("demo-client:demo-secret").toBase64()}}));
    const Reply unknown = emulator.query(kDemo, kDutyChannelQuery, "not-a-token-we-issued");
    const Reply expired = emulator.query(kDemo, kDutyChannelQuery, expiring);

    EXPECT_EQ(missing.status, 401);
    EXPECT_EQ(missing.message(), QStringLiteral("Missing bearer token"));
    EXPECT_EQ(basic.status, 401);
    EXPECT_EQ(basic.message(), QStringLiteral("Missing bearer token"));
    EXPECT_EQ(unknown.status, 401);
    EXPECT_EQ(unknown.message(), QStringLiteral("Unknown access token"));
    EXPECT_EQ(expired.status, 401);
    EXPECT_EQ(expired.message(), QStringLiteral("Access token expired"));
    EXPECT_TRUE(expired.header("WWW-Authenticate").startsWith("Bearer"));
}

TEST(EmulatorQuery, UnknownBusinessOrPathIs404)
{
    EmulatorHarness emulator;
    const QByteArray token = emulator.token();

    const Reply business = emulator.query(QStringLiteral("nobody"), kDutyChannelQuery, token);
    // An empty business id loses its path segment on the client side.
    const Reply noBusiness =
        emulator.wait(emulator.start("POST", QStringLiteral("/api/business/quorvel/v0/entities/query/vector"),
                                     kDutyChannelQuery, {{"Authorization", "Bearer " + token}}));

    EXPECT_EQ(business.status, 404);
    EXPECT_EQ(business.message(), QStringLiteral("Unknown business 'nobody'"));
    EXPECT_EQ(noBusiness.status, 404);
    EXPECT_FALSE(noBusiness.message().isEmpty());
}

// HTTP auth schemes are case-insensitive: a client may write "bearer".
TEST(EmulatorQuery, BearerSchemeIsTakenInAnyCase)
{
    EmulatorHarness emulator;
    const Reply reply = emulator.wait(
        emulator.start("POST", QStringLiteral("/api/business/quorvel/demo/v0/entities/query/vector"),
                       kDutyChannelQuery, {{"Authorization", "bEARER " + emulator.token()}}));
    EXPECT_EQ(reply.status, 200) << reply.body.toStdString();
}

TEST(EmulatorQuery, OnlyPostIsAllowed)
{
    EmulatorHarness emulator;
    const Reply reply =
        emulator.send("GET", QStringLiteral("/api/business/quorvel/demo/v0/entities/query/vector"), {},
                      {{"Authorization", "Bearer " + emulator.token()}});
    EXPECT_EQ(reply.status, 405);
    EXPECT_EQ(reply.header("Allow"), "POST");
}

struct BadRequest
{
    const char* name;
    QByteArray body;
    QString queryString;
    const char* messagePart;
};

TEST(EmulatorQuery, MalformedRequestsGet400WithAMessageAndTheEmulatorCarriesOn)
{
    const QString paging = QStringLiteral("?Skip=0&Take=1");
    const BadRequest cases[] = {
        {"empty body", "", paging, "empty"},
        {"not JSON", "{\"entitiesByEntityTypeKeys\":[", paging, "not valid JSON"},
        {"array root", "[]", paging, "must be a JSON object"},
        {"string root", "\"query\"", paging, "JSON"},
        {"negative Skip", "{}", QStringLiteral("?Skip=-1"), "Skip"},
        {"text Take", "{}", QStringLiteral("?Take=ten"), "Take"},
        {"huge Take", "{}", QStringLiteral("?Take=99999999999999999999"), "Take"},
        {"Take past 32 bits", "{}", QStringLiteral("?Take=4294967296"), "Take"},
        {"fractional Skip", "{}", QStringLiteral("?Skip=1.5"), "Skip"},
        {"twice Skip", "{}", QStringLiteral("?Skip=1&Skip=2"), "more than once"},
        {"type keys not a list", R"({"entitiesByEntityTypeKeys":"BUSINESS_TICKET"})", paging,
         "entitiesByEntityTypeKeys"},
        {"type keys of numbers", R"({"entitiesByEntityTypeKeys":[1]})", paging, "entitiesByEntityTypeKeys"},
        {"huge number for a flag", R"({"entitiesByIsDraft":1e308})", paging, "entitiesByIsDraft"},
        {"inheritance as text", R"({"entitiesByEntityTypesWithInheritance":"false"})", paging,
         "entitiesByEntityTypesWithInheritance"},
        {"filters not a list", R"({"entitiesByAttributeValues":{}})", paging, "entitiesByAttributeValues"},
        {"filter not an object", R"({"entitiesByAttributeValues":[7]})", paging,
         "entitiesByAttributeValues[0]"},
        {"filter without key", R"({"entitiesByAttributeValues":[{"operator":"Equals","value":"x"}]})", paging,
         "attributeKey"},
        {"filter without operator", R"({"entitiesByAttributeValues":[{"attributeKey":"A","value":"x"}]})",
         paging, "operator"},
        {"unknown operator",
         R"({"entitiesByAttributeValues":[{"attributeKey":"A","operator":"Like","value":"x"}]})", paging,
         "Like"},
        {"filter without value",
         R"({"entitiesByAttributeValues":[{"attributeKey":"A","operator":"Equals"}]})", paging, "value"},
        {"value expression",
         R"({"entitiesByAttributeValues":[{"attributeKey":"A","operator":"Equals","valueExpression":"today"}]})",
         paging, "valueExpression"},
        {"ignoreCase as number",
         R"({"entitiesByAttributeValues":[{"attributeKey":"A","operator":"Equals","value":"x","ignoreCase":1}]})",
         paging, "ignoreCase"},
        {"locales not strings",
         R"({"entitiesByAttributeValues":[{"attributeKey":"A","operator":"Equals","value":"x","locales":[null]}]})",
         paging, "locales"},
        {"bad id", R"({"entitiesByIds":["5885e99b"]})", paging, "not a UUID"},
        {"options not an object", R"({"entitiesOptions":[]})", paging, "entitiesOptions"},
        {"references as text", R"({"entitiesOptions":{"includeReferences":"yes"}})", paging,
         "includeReferences"},
        {"unsupported criterion", R"({"entitiesByFullTextSearch":[{"value":"x"}]})", paging, "not supported"},
        {"deep nesting", QByteArray(5000, '[') + QByteArray(5000, ']'), paging, "not valid JSON"},
    };

    EmulatorHarness emulator;
    const QByteArray token = emulator.token();
    for (const BadRequest& bad : cases) {
        const Reply reply = emulator.query(kDemo, bad.body, token, bad.queryString);
        EXPECT_EQ(reply.status, 400) << bad.name << ": " << reply.body.toStdString();
        EXPECT_TRUE(reply.message().contains(QLatin1String(bad.messagePart)))
            << bad.name << ": " << reply.message().toStdString();
    }
    EXPECT_EQ(emulator.query(kDemo, kDutyChannelQuery, token).status, 200);
}

TEST(EmulatorQuery, RequestKeysAreReadWhateverTheirCaseAndNullMeansAbsent)
{
    EmulatorHarness emulator;
    const Reply reply = emulator.query(
        kDemo,
        R"({"EntitiesByEntityTypeKeys":["BUSINESS_TICKET"],"entitiesByIds":null,)"
        R"("ENTITIESBYATTRIBUTEVALUES":[{"AttributeKey":"IS_DEFAULT_CHANNEL","Operator":"equals",)"
        R"("Value":"true","Locales":["DE_DE"]}],"entitiesOptions":{"IncludeEntityState":true}})",
        emulator.token(), QString());

    ASSERT_EQ(reply.status, 200) << reply.body.toStdString();
    EXPECT_EQ(ids(reply), QStringList({kDutyTicketId}));
    EXPECT_EQ(reply.json().array().at(0).toObject().value(QLatin1String("stateKey")).toString(),
              QStringLiteral("OPEN"));
}

} // namespace
} // namespace QuorvelEmulatorTest
