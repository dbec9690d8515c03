// The host's sign-in client against what a token endpoint may answer, and
// its token store across sign-out.
#include <ostream>
#include <string>

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QElapsedTimer>

#include <Ambrel/Client.h>
#include <Ambrel/TokenReply.h>
#include <Vyx/CVyxAccount.h>

#include "support/qt/ScriptedHttpServer.h"

namespace {

struct ReplyCase
{
    const char* name;
    int status;
    QByteArray body;
    // Empty: the reply is accepted.
    std::string error;
    qint64 expiresIn = 0;
};

void PrintTo(const ReplyCase& c, std::ostream* out)
{
    *out << c.name;
}

class TokenReply : public ::testing::TestWithParam<ReplyCase>
{
};

TEST_P(TokenReply, AcceptsOnlyAWellFormedBearerToken)
{
    const ReplyCase& c = GetParam();
    const auto got = Ambrel::readTokenReply(c.status, c.body);
    if (c.error.empty()) {
        ASSERT_TRUE(got.has_value()) << got.error().toStdString();
        EXPECT_EQ(got->value, "a-Z0.9_~+/x==");
        EXPECT_EQ(got->expiresInSeconds, c.expiresIn);
        return;
    }
    ASSERT_FALSE(got.has_value());
    EXPECT_EQ(got.error().toStdString(), c.error);
}

// Each refused reply's reason is exact: it is what the user reads.
INSTANTIATE_TEST_SUITE_P(
    Rows, TokenReply,
    ::testing::Values(
        ReplyCase{"Accepted", 200,
                  R"({"access_token":"a-Z0.9_~+/x==","token_type":"Bearer","expires_in":3600})", "", 3600},
        ReplyCase{"AnyCaseAndNoLifetime", 200, R"({"access_token":"a-Z0.9_~+/x==","token_type":"bEaReR"})",
                  ""},
        ReplyCase{"HeaderInjection", 200, "{\"access_token\":\"t\\r\\nX-Evil: 1\",\"token_type\":\"Bearer\"}",
                  "access token holds characters a bearer token may not"},
        ReplyCase{"SpaceInside", 200, R"({"access_token":"a b","token_type":"Bearer"})",
                  "access token holds characters a bearer token may not"},
        ReplyCase{"PaddingInTheMiddle", 200, R"({"access_token":"a=b","token_type":"Bearer"})",
                  "access token holds characters a bearer token may not"},
        ReplyCase{"OnlyPadding", 200, R"({"access_token":"==","token_type":"Bearer"})",
                  "access token holds characters a bearer token may not"},
        ReplyCase{"NotAString", 200, R"({"access_token":42,"token_type":"Bearer"})",
                  "token endpoint sent no access token"},
        ReplyCase{"Huge", 200, R"({"access_token":")" + QByteArray(8193, 'a') + R"(","token_type":"Bearer"})",
                  "access token longer than 8192 bytes"},
        ReplyCase{"MacToken", 200, R"({"access_token":"t","token_type":"mac"})",
                  "token type is \"mac\", not Bearer"},
        ReplyCase{"NoType", 200, R"({"access_token":"t"})", "token type is \"\", not Bearer"},
        ReplyCase{"ZeroLifetime", 200, R"({"access_token":"t","token_type":"Bearer","expires_in":0})",
                  "expires_in is not a whole number of seconds from 1 to a year"},
        ReplyCase{"LifetimeAsText", 200, R"({"access_token":"t","token_type":"Bearer","expires_in":"60"})",
                  "expires_in is not a whole number of seconds from 1 to a year"},
        ReplyCase{"FractionalLifetime", 200, R"({"access_token":"t","token_type":"Bearer","expires_in":1.5})",
                  "expires_in is not a whole number of seconds from 1 to a year"},
        ReplyCase{"NotJson", 200, "<html>", "token endpoint reply is not a JSON object"},
        ReplyCase{"ErrorBesideAToken", 200,
                  R"({"access_token":"t","token_type":"Bearer","error":"temporarily_unavailable"})",
                  "token endpoint answered with an error: temporarily_unavailable"},
        ReplyCase{"OAuthRefusal", 401, R"({"error":"invalid_client","error_description":"Unknown client"})",
                  "token endpoint refused the client (HTTP 401): invalid_client: Unknown client"},
        ReplyCase{"HostileDescription", 400,
                  "{\"error\":\"x\\u001b[2J\",\"error_description\":\"" + QByteArray(300, 'd') + "\"}",
                  "token endpoint refused the client (HTTP 400): x?[2J: " + std::string(200, 'd') + "..."},
        ReplyCase{"PlainRefusal", 500, "oops", "token endpoint refused the client (HTTP 500)"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(TokenRenewal, LeavesAFifthOfTheLifetimeButNeverMoreThanAMinute)
{
    EXPECT_EQ(Ambrel::renewalDelayMs(5), 4000);
    EXPECT_EQ(Ambrel::renewalDelayMs(300), 240000);
    EXPECT_EQ(Ambrel::renewalDelayMs(3600), 3540000);
}

TEST(TokenRenewal, ARenewalFinishingAfterSignOutIsDropped)
{
    Ambrel::Client client;
    client.setAccessToken("old");
    qint64 announced = -1;
    QObject::connect(&client, &Ambrel::Client::accessTokenRenewed, [&](qint64 s) { announced = s; });
    // The endpoint answers only after the user has signed out.
    client.setTokenSource([&client] {
        client.clearAccessToken();
        return Ambrel::AccessToken("late", 60);
    });
    EXPECT_TRUE(client.refreshAccessToken(true).isEmpty());
    EXPECT_TRUE(client.getAccessTokenBytes().isEmpty());
    EXPECT_EQ(announced, -1);

    client.setTokenSource([] { return Ambrel::AccessToken("fresh", 60); });
    EXPECT_EQ(client.refreshAccessToken(true), "fresh");
    EXPECT_EQ(announced, 60);
}

// The account renews a token before it expires, with no 401 to prompt it,
// and plans the next renewal from the new token's own lifetime.
TEST(TokenRenewal, TheAccountRenewsShortlyBeforeExpiry)
{
    QuorvelTest::ScriptedHttpServer endpoint;
    ASSERT_NE(endpoint.start(), 0);
    const auto issue = [](const char* token) {
        return QuorvelTest::ScriptedHttpServer::Reply{
            200,
            {{"Content-Type", "application/json"}},
            QByteArray(R"({"token_type":"Bearer","expires_in":1,"access_token":")") + token + "\"}"};
    };
    endpoint.push(issue("first"));
    endpoint.push(issue("second"));
    endpoint.push(issue("third"));

    CVyxAccount account;
    const QPointer<Ambrel::Client> client = account.getAmbrelClient();
    QStringList seen;
    QElapsedTimer clock;
    clock.start();
    // A second lifetime renews after 0.8 s: three tokens within 5 s or never.
    account.signIn({QUrl(endpoint.baseUrl() + QStringLiteral("/oauth/token")), QStringLiteral("c"),
                    QStringLiteral("s")});
    while (seen.size() < 3 && clock.elapsed() < 5000) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        const QString token = QString::fromLatin1(client->getAccessTokenBytes());
        if (!token.isEmpty() && (seen.isEmpty() || seen.last() != token))
            seen.append(token);
    }
    EXPECT_EQ(seen, (QStringList{"first", "second", "third"}));
    EXPECT_TRUE(account.getIsSignedIn());

    // Signed out, nothing renews any more.
    account.signOut();
    const qsizetype asked = endpoint.received().size();
    clock.restart();
    while (clock.elapsed() < 1000)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    EXPECT_EQ(endpoint.received().size(), asked);
    EXPECT_TRUE(client->getAccessTokenBytes().isEmpty());
}

// Signing out while a sign-in waits for its token, or after it: neither the
// late token nor a later renewal may bring the old session back.
TEST(TokenRenewal, SignOutEndsTheSessionWhateverIsStillUnderWay)
{
    QuorvelTest::ScriptedHttpServer endpoint;
    ASSERT_NE(endpoint.start(), 0);
    const QuorvelTest::ScriptedHttpServer::Reply token{
        200, {{"Content-Type", "application/json"}}, R"({"token_type":"Bearer","access_token":"late"})"};
    endpoint.route(QStringLiteral("/oauth/token"), token);
    CVyxAccount account;
    const QPointer<Ambrel::Client> client = account.getAmbrelClient();
    const Ambrel::ClientCredentials credentials{QUrl(endpoint.baseUrl() + QStringLiteral("/oauth/token")),
                                                QStringLiteral("c"), QStringLiteral("s")};

    // The token is asked for off this thread and handed back through the
    // event loop, so signing out in the same turn comes first.
    account.signIn(credentials);
    account.signOut();
    QElapsedTimer clock;
    clock.start();
    while (endpoint.received().isEmpty() && clock.elapsed() < 5000)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    ASSERT_EQ(endpoint.received().size(), 1);
    // Its answer, were it taken, arrives within a few turns of the loop.
    clock.restart();
    while (clock.elapsed() < 300)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    EXPECT_FALSE(account.getIsSignedIn());
    EXPECT_TRUE(client->getAccessTokenBytes().isEmpty());

    // A request of the old session that meets a 401 asks for a renewal: it
    // gets nothing, and the endpoint is not asked.
    EXPECT_TRUE(client->refreshAccessToken(true).isEmpty());
    EXPECT_EQ(endpoint.received().size(), 1);
}

} // namespace
