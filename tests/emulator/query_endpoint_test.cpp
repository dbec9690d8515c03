// The query endpoint as the product meets it over HTTP.
#include "EmulatorHarness.h"

#include <gtest/gtest.h>

namespace QuorvelEmulatorTest {
namespace {

QByteArray byValue(const char* key, const char* value, const char* more = "")
{
    return QStringLiteral(
               R"({"entitiesByAttributeValues":[{"attributeKey":"%1","operator":"Equals","value":"%2"%3}]})")
        .arg(QLatin1String(key), QLatin1String(value), QLatin1String(more))
        .toUtf8();
}

// The emulator must answer the question asked, no broader, or the product's
// own query goes unchecked.
TEST(EmulatorQuery, AnswersExactlyTheQuestionAskedAndRefusesBadOnes)
{
    EmulatorHarness emulator;
    const QByteArray bearer = "Bearer " + emulator.token();
    const struct
    {
        QByteArray body;
        const char* paging;
        const char* expected; // the first four digits of each id, or the refusal
    } rows[] = {
        {"{}", "", "5885 124a 6bcc"},
        {byValue("TICKET_TITLE", "Support"), "", "5885"},
        {byValue("TICKET_TITLE", "support"), "", ""},
        {byValue("TICKET_TITLE", "support", R"(,"ignoreCase":true)"), "", "5885"},
        {byValue("TICKET_TITLE", "Supp", R"(,"ignoreCase":true)"), "", ""},
        {byValue("ticket_title", "Support"), "", ""},
        {byValue("TICKET_TITLE", "Kundendienst", R"(,"locales":["DE_DE"])"), "", "5885"},
        {byValue("TICKET_TITLE", "Support", R"(,"locales":["DE_DE"])"), "", ""},
        // The value key matches whatever the locales.
        {byValue("TICKET_PRIORITY", "high", R"(,"ignoreCase":true,"locales":["FR_FR"])"), "", "124a"},
        {byValue("TICKET_PRIORITY", "high", R"(,"locales":["FR_FR"])"), "", ""},
        {R"({"entitiesByEntityTypeKeys":["BUSINESS_TEAM","X"]})", "", "6bcc"},
        {R"({"entitiesByEntityTypeKeys":[]})", "", ""},
        {R"({"entitiesByStateKeys":["OPEN","ACTIVE"],"entitiesByIds":["6BCCA9B3-D493-4088-919D-E26F497208BF"]})",
         "", "6bcc"},
        {"{}", "?Skip=1&Take=1", "124a"},
        {"{}", "?Skip=2", "6bcc"},
        {"{}", "?Skip=1&Take=0", ""},
        {"", "", "400 The request body must be a JSON object; it is empty"},
        {QByteArray(5000, '[') + QByteArray(5000, ']'), "",
         "400 The request body is not valid JSON: too deeply nested document at offset 1025"},
        {"{}", "?Skip=-1",
         "400 Query parameter 'Skip' must be a non-negative integer up to 4294967295, not '-1'"},
        {R"({"entitiesByAttributeValues":[{"attributeKey":"A","operator":"Like","value":"x"}]})", "",
         "400 'entitiesByAttributeValues[0].operator': operator 'Like' is not supported by the emulator "
         "(supported: Equals)"},
    };
    for (const auto& row : rows) {
        const Reply reply = emulator.query(bearer, row.body, "demo", row.paging);
        QStringList ids;
        for (const QJsonValue& entity : reply.json().array())
            ids.append(entity["id"].toString().left(4));
        const QString answer =
            reply.status == 200 ? ids.join(' ') : QString::number(reply.status) + ' ' + reply.message();
        EXPECT_EQ(answer.toStdString(), row.expected) << row.body.left(200).toStdString() << row.paging;
    }
    EXPECT_EQ(emulator.query(bearer, "{}", "nobody").message(), "Unknown business 'nobody'");
    EXPECT_EQ(emulator.send("GET", "/api/business/quorvel/demo/v0/entities/query/vector").status, 405);
}

TEST(EmulatorQuery, TokenIsCheckedAndItsSchemeTakenInAnyCase)
{
    EmulatorHarness emulator;
    const QByteArray token = emulator.token();
    // HTTP auth schemes are case-insensitive: a client may write "bearer".
    EXPECT_EQ(emulator.query("bEARER " + token).status, 200);
    emulator.advanceClock(3600 * 1000);
    const struct
    {
        QByteArray authorization;
        const char* message;
    } rows[] = {
        {{}, "Missing bearer token"},
        {"Basic " + QByteArray("demo-client:demo-secret").toBase64(), "Missing bearer token"},
        {"Bearer not-a-token-we-issued", "Unknown access token"},
        {"Bearer " + token, "Access token expired"},
    };
    for (const auto& row : rows) {
        const Reply reply = emulator.query(row.authorization);
        EXPECT_EQ(reply.status, 401) << row.message;
        EXPECT_EQ(reply.message(), row.message);
        EXPECT_TRUE(reply.header("WWW-Authenticate").startsWith("Bearer")) << row.message;
    }
}

} // namespace
} // namespace QuorvelEmulatorTest
