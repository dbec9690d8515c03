#include "EmulatorHarness.h"

#include <gtest/gtest.h>

namespace QuorvelEmulatorTest {
namespace {

QJsonObject stats(EmulatorHarness& emulator)
{
    const Reply reply = emulator.send("GET", QStringLiteral("/_emulator/stats"));
    EXPECT_EQ(reply.status, 200);
    return reply.json().object();
}

TEST(EmulatorAdmin, StatsCountRequestsPerEndpointFailuresIncluded)
{
    EmulatorHarness emulator;
    const QByteArray token = emulator.token();
    emulator.requestToken("grant_type=client_credentials&client_id=demo-client&client_secret=no");
    emulator.query(QStringLiteral("demo"), kDutyChannelQuery, token);
    emulator.query(QStringLiteral("demo"), kDutyChannelQuery, "unknown");
    emulator.query(QStringLiteral("demo"), "[]", token);
    emulator.addFault(R"({"kind":"status","status":500})");
    emulator.query(QStringLiteral("demo"), kDutyChannelQuery, token);
    emulator.send("GET", QStringLiteral("/api/business/quorvel/demo/v0/entities/query/vector"));

    const QJsonObject counted = stats(emulator);
    EXPECT_EQ(counted.value(QLatin1String("queries")).toInteger(), 5);
    EXPECT_EQ(counted.value(QLatin1String("tokens")).toInteger(), 2);
}

TEST(EmulatorAdmin, PendingFaultsAreListedInQueueOrder)
{
    EmulatorHarness emulator;
    const Reply queued = emulator.addFault(
        R"([{"kind":"delay","delayMs":250},{"kind":"status","status":404,"target":"token","times":-1}])");
    EXPECT_EQ(queued.json().object().value(QLatin1String("queued")).toInteger(), 2);

    const QJsonArray faults = emulator.send("GET", QStringLiteral("/_emulator/faults"))
                                  .json()
                                  .object()
                                  .value(QLatin1String("faults"))
                                  .toArray();
    ASSERT_EQ(faults.size(), 2);
    EXPECT_EQ(faults.at(0).toObject().value(QLatin1String("kind")).toString(), QStringLiteral("delay"));
    EXPECT_EQ(faults.at(0).toObject().value(QLatin1String("delayMs")).toInteger(), 250);
    EXPECT_EQ(faults.at(1).toObject().value(QLatin1String("target")).toString(), QStringLiteral("token"));
    EXPECT_EQ(faults.at(1).toObject().value(QLatin1String("times")).toInteger(), -1);
}

TEST(EmulatorAdmin, ResetClearsFaultsAndCountersButKeepsTokens)
{
    EmulatorHarness emulator;
    const QByteArray token = emulator.token();
    emulator.query(QStringLiteral("demo"), kDutyChannelQuery, token);
    emulator.addFault(R"({"kind":"status","status":503,"times":-1})");

    const Reply reset = emulator.send("POST", QStringLiteral("/_emulator/reset"));
    ASSERT_EQ(reset.status, 200);

    const QJsonObject counted = stats(emulator);
    EXPECT_EQ(counted.value(QLatin1String("queries")).toInteger(), 0);
    EXPECT_EQ(counted.value(QLatin1String("tokens")).toInteger(), 0);
    EXPECT_EQ(emulator.query(QStringLiteral("demo"), kDutyChannelQuery, token).status, 200);
}

TEST(EmulatorAdmin, TokensListsEveryIssuedTokenExpiredOnesIncluded)
{
    EmulatorHarness emulator;
    auto listed = [&emulator] {
        const Reply reply = emulator.send("GET", QStringLiteral("/_emulator/tokens"));
        EXPECT_EQ(reply.status, 200);
        QStringList tokens;
        for (const QJsonValue& token : reply.json().object().value(QLatin1String("tokens")).toArray())
            tokens.append(token.toString());
        tokens.sort();
        return tokens;
    };
    EXPECT_TRUE(listed().isEmpty());

    const QByteArray first = emulator.token();
    const QByteArray second = emulator.token();
    // A refused client gets no token, so nothing new is listed.
    emulator.requestToken("grant_type=client_credentials&client_id=demo-client&client_secret=no");
    ASSERT_EQ(emulator.send("POST", QStringLiteral("/_emulator/expire-tokens")).status, 200);

    QStringList expected{QString::fromLatin1(first), QString::fromLatin1(second)};
    expected.sort();
    EXPECT_EQ(listed(), expected);
    EXPECT_EQ(emulator.send("POST", QStringLiteral("/_emulator/tokens")).status, 405);
}

TEST(EmulatorAdmin, UnknownPathsAndWrongMethodsAreRefused)
{
    EmulatorHarness emulator;
    EXPECT_EQ(emulator.send("GET", QStringLiteral("/_emulator/nothing")).status, 404);
    EXPECT_EQ(emulator.send("GET", QStringLiteral("/")).status, 404);
    EXPECT_EQ(emulator.send("POST", QStringLiteral("/_emulator/stats")).status, 405);
    EXPECT_EQ(emulator.send("GET", QStringLiteral("/oauth/token")).status, 405);
}

} // namespace
} // namespace QuorvelEmulatorTest
