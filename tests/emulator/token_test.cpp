#include "EmulatorHarness.h"

#include <gtest/gtest.h>

namespace QuorvelEmulatorTest {
namespace {

const QByteArray kGoodForm = "grant_type=client_credentials&client_id=demo-client&client_secret=demo-secret";

QJsonObject object(const Reply& reply)
{
    return reply.json().object();
}

TEST(EmulatorToken, IssuesDistinctBearerTokensForClientCredentials)
{
    EmulatorHarness emulator;
    const Reply first = emulator.requestToken(kGoodForm);
    const Reply second = emulator.requestToken(kGoodForm);

    ASSERT_EQ(first.status, 200) << first.body.toStdString();
    EXPECT_EQ(first.header("Content-Type"), "application/json");
    EXPECT_EQ(first.header("Cache-Control"), "no-store");
    EXPECT_EQ(object(first).value(QLatin1String("token_type")).toString(), QStringLiteral("Bearer"));
    EXPECT_EQ(object(first).value(QLatin1String("expires_in")).toInteger(), 3600);
    const QString token = object(first).value(QLatin1String("access_token")).toString();
    EXPECT_GE(token.size(), 40);
    EXPECT_NE(token, object(second).value(QLatin1String("access_token")).toString());

    const Reply answered = emulator.query(QStringLiteral("demo"), kDutyChannelQuery, token.toLatin1());
    EXPECT_EQ(answered.status, 200);
}

TEST(EmulatorToken, UsesConfiguredClientAndLifetime)
{
    QuorvelEmulator::TokenSettings settings;
    settings.clientId = QStringLiteral("e2e client");
    settings.clientSecret = QStringLiteral("s3cr&t");
    settings.lifetimeSeconds = 90;
    EmulatorHarness emulator(shippedData(), settings);

    // Form encoding: the blank as '+', the ampersand percent-encoded.
    const Reply reply =
        emulator.requestToken("grant_type=client_credentials&client_id=e2e+client&client_secret=s3cr%26t");

    ASSERT_EQ(reply.status, 200) << reply.body.toStdString();
    EXPECT_EQ(object(reply).value(QLatin1String("expires_in")).toInteger(), 90);
    EXPECT_EQ(emulator.requestToken(kGoodForm).status, 401);
}

TEST(EmulatorToken, AcceptsClientCredentialsAsBasicAuthentication)
{
    EmulatorHarness emulator;
    const Reply reply = emulator.requestToken(
        "grant_type=client_credentials",
        {{"Authorization", "Basic " + QByteArray("demo-client:demo-secret").toBase64()}});

    ASSERT_EQ(reply.status, 200) << reply.body.toStdString();
    EXPECT_FALSE(object(reply).value(QLatin1String("access_token")).toString().isEmpty());
}

TEST(EmulatorToken, RefusesAWrongClientWith401InvalidClient)
{
    EmulatorHarness emulator;
    const Reply wrongSecret =
        emulator.requestToken("grant_type=client_credentials&client_id=demo-client&client_secret=guess");
    const Reply wrongBasic =
        emulator.requestToken("grant_type=client_credentials",
                              {{"Authorization", "Basic " + QByteArray("intruder:demo-secret").toBase64()}});
    const Reply noClient = emulator.requestToken("grant_type=client_credentials");

    for (const Reply& reply : {wrongSecret, wrongBasic, noClient}) {
        EXPECT_EQ(reply.status, 401);
        EXPECT_EQ(object(reply).value(QLatin1String("error")).toString(), QStringLiteral("invalid_client"));
        EXPECT_FALSE(object(reply).contains(QLatin1String("access_token")));
    }
    EXPECT_EQ(wrongBasic.header("WWW-Authenticate"), "Basic realm=\"quorvel-emulator\"");
}

TEST(EmulatorToken, RefusesOtherGrantTypesWith400)
{
    EmulatorHarness emulator;
    const Reply password =
        emulator.requestToken("grant_type=password&client_id=demo-client&client_secret=demo-secret");
    const Reply none = emulator.requestToken("client_id=demo-client&client_secret=demo-secret");

    EXPECT_EQ(password.status, 400);
    EXPECT_EQ(object(password).value(QLatin1String("error")).toString(),
              QStringLiteral("unsupported_grant_type"));
    EXPECT_EQ(none.status, 400);
    EXPECT_EQ(object(none).value(QLatin1String("error")).toString(), QStringLiteral("invalid_request"));
}

TEST(EmulatorToken, TokenIsRefusedOnceItsLifetimeHasPassed)
{
    EmulatorHarness emulator;
    const QByteArray token = emulator.token();

    emulator.advanceClock(3600 * 1000 - 1);
    EXPECT_EQ(emulator.query(QStringLiteral("demo"), kDutyChannelQuery, token).status, 200);

    emulator.advanceClock(1);
    const Reply expired = emulator.query(QStringLiteral("demo"), kDutyChannelQuery, token);
    EXPECT_EQ(expired.status, 401);
    EXPECT_EQ(expired.message(), QStringLiteral("Access token expired"));
    EXPECT_EQ(emulator.query(QStringLiteral("demo"), kDutyChannelQuery, emulator.token()).status, 200);
}

TEST(EmulatorToken, ExpireTokensEndpointEndsEveryIssuedToken)
{
    EmulatorHarness emulator;
    const QByteArray first = emulator.token();
    const QByteArray second = emulator.token();

    const Reply expired = emulator.send("POST", QStringLiteral("/_emulator/expire-tokens"));
    ASSERT_EQ(expired.status, 200);

    EXPECT_EQ(emulator.query(QStringLiteral("demo"), kDutyChannelQuery, first).status, 401);
    EXPECT_EQ(emulator.query(QStringLiteral("demo"), kDutyChannelQuery, second).status, 401);
    EXPECT_EQ(emulator.query(QStringLiteral("demo"), kDutyChannelQuery, emulator.token()).status, 200);
}

} // namespace
} // namespace QuorvelEmulatorTest
