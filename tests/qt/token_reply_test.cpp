// The host's sign-in client against what a token endpoint may answer, and
// its token store and renewal timer across sign-out.
#include <algorithm>
#include <string>

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QFutureWatcherBase>
#include <QTcpServer>
#include <QTimer>

#include <Ambrel/Client.h>
#include <Ambrel/ClientCredentials.h>
#include <Ambrel/TokenReply.h>
#include <Vyx/CVyxAccount.h>

#include "support/qt/ScriptedHttpServer.h"
#include "transport_fixture.h"

namespace {

// Each refused reply's reason is exact: it is what the user reads. Injected
// headers, other token types and hostile error texts are end-to-end rows.
TEST(TokenReply, AcceptsOnlyAWellFormedBearerToken)
{
    const std::string badToken = "access token holds characters a bearer token may not";
    const std::string badLifetime = "expires_in is not a whole number of seconds from 1 to a year";
    struct Row
    {
        int status;
        QByteArray body;
        std::string error; // empty: accepted, token "a-Z0.9_~+/x=="
        qint64 expiresIn = 0;
    };
    const Row rows[] = {
        {200, R"({"access_token":"a-Z0.9_~+/x==","token_type":"Bearer","expires_in":3600})", "", 3600},
        {200, R"({"access_token":"a-Z0.9_~+/x==","token_type":"bEaReR"})", ""},
        {200, R"({"access_token":"a b","token_type":"Bearer"})", badToken},
        {200, R"({"access_token":"==","token_type":"Bearer"})", badToken},
        {200, R"({"access_token":")" + QByteArray(8193, 'a') + R"(","token_type":"Bearer"})",
         "access token longer than 8192 bytes"},
        {200, R"({"access_token":"t","token_type":"Bearer","expires_in":0})", badLifetime},
        {200, R"({"access_token":"t","token_type":"Bearer","expires_in":1.5})", badLifetime},
        {200, R"({"access_token":"a-Z0.9_~+/x==","token_type":"Bearer","expires_in":31536000})", "",
         31536000},
        {200, R"({"access_token":"t","token_type":"Bearer","expires_in":31536001})", badLifetime},
        {200, R"({"access_token":7,"token_type":"Bearer"})", "token endpoint sent no access token"},
        {200, R"({"access_token":"t"})", "token type is \"\", not Bearer"},
        {200, "<html>", "token endpoint reply is not a JSON object"},
        {500, "oops", "token endpoint refused the client (HTTP 500)"},
        // The endpoint's own words, printable and cut to 200 characters.
        {400, R"({"error":"invalid_client","error_description":"bad\nline\u00e9\u007f~"})",
         "token endpoint refused the client (HTTP 400): invalid_client: bad?line??~"},
        {200, R"({"error":"e","error_description":")" + QByteArray(200, 'd') + R"("})",
         "token endpoint answered with an error: e: " + std::string(200, 'd')},
        {200, R"({"error":")" + QByteArray(201, 'e') + R"("})",
         "token endpoint answered with an error: " + std::string(200, 'e') + "..."},
        // An endpoint that echoes the token it sent: the reason never quotes it.
        {401,
         R"({"access_token":"abcdefghijklmnop","error":"invalid_grant","error_description":"abcdefghijklmnop"})",
         "token endpoint refused the client (HTTP 401): invalid_grant: (withheld: it holds the token)"},
        {200, R"({"access_token":"abcdefghijklmnop","token_type":"x abcdefghijklmnop"})",
         "token type is \"(withheld: it holds the token)\", not Bearer"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.body.left(80).toStdString());
        const auto got = Ambrel::readTokenReply(row.status, row.body);
        EXPECT_EQ(got ? std::string() : got.error().toStdString(), row.error);
        if (got) {
            EXPECT_EQ(got->value, "a-Z0.9_~+/x==");
            EXPECT_EQ(got->expiresInSeconds, row.expiresIn);
        }
    }
}

// The sign-in client's own exchange: the form it posts, and each way it fails.
TEST(ClientCredentials, PostsTheFormAndNamesEachFailure)
{
    QuorvelTest::ScriptedHttpServer endpoint;
    ASSERT_NE(endpoint.start(), 0);
    endpoint.route(QStringLiteral("/ok"), {200, {}, R"({"access_token":"t1","token_type":"Bearer"})"});
    // Announces far more than a token reply may hold, then waits.
    QTcpServer lying;
    ASSERT_TRUE(lying.listen(QHostAddress::LocalHost, 0));
    QObject::connect(&lying, &QTcpServer::newConnection, [&lying] {
        lying.nextPendingConnection()->write("HTTP/1.1 200 OK\r\nContent-Length: 100000000\r\n\r\n{");
    });
    QTcpServer closed;
    ASSERT_TRUE(closed.listen(QHostAddress::LocalHost, 0));
    const QString refused = QStringLiteral("http://127.0.0.1:%1/x").arg(closed.serverPort());
    closed.close();
    const std::pair<QString, QString> rows[] = {
        {endpoint.baseUrl() + "/ok", "t1"},
        {QString(), "no token endpoint configured"},
        {QStringLiteral("http://127.0.0.1:%1/t").arg(lying.serverPort()),
         "token endpoint reply larger than 65536 bytes"},
        {refused, "token endpoint unreachable: Connection refused"},
    };
    for (const auto& [url, outcome] : rows) {
        const auto token = Ambrel::ClientCredentials{QUrl(url), "c", "s p&"}.requestToken(5000);
        EXPECT_EQ(token ? QString::fromLatin1(token->value) : token.error(), outcome);
    }
    ASSERT_FALSE(endpoint.received().isEmpty());
    EXPECT_EQ(endpoint.received().at(0).body,
              "grant_type=client_credentials&client_id=c&client_secret=s%20p%26");
}

// Quitting while a sign-in is being sent may come before its loop waits.
TEST(TokenRequestAbort, EndsALoopWatchedAfterIt)
{
    Ambrel::TokenRequestAbort abort;
    abort.abort();
    QEventLoop loop;
    const Ambrel::TokenRequestAbort::Watch watch(&abort, loop);
    QTimer::singleShot(5000, &loop, [&loop] { loop.exit(1); });
    EXPECT_EQ(loop.exec(), 0);
}

// A sign-out forgets the token and where tokens come from: a renewal that
// was under way keeps its token to itself, and a later one asks nobody.
TEST(TokenRenewal, SignOutDropsTheRenewalUnderWayAndTheTokenSource)
{
    Ambrel::Client client;
    client.setAccessToken("old");
    qint64 announced = -1;
    QObject::connect(&client, &Ambrel::Client::accessTokenRenewed, [&](qint64 s) { announced = s; });
    int asked = 0;
    // The endpoint answers only after the user has signed out.
    client.setTokenSource([&client, &asked] {
        ++asked;
        client.clearAccessToken();
        return Ambrel::AccessToken("late", 60);
    });
    EXPECT_TRUE(client.refreshAccessToken(true).isEmpty());
    EXPECT_TRUE(client.getAccessTokenBytes().isEmpty());
    EXPECT_TRUE(client.refreshAccessToken(true).isEmpty());
    EXPECT_EQ(asked, 1);
    EXPECT_EQ(announced, -1);

    client.setTokenSource([] { return Ambrel::AccessToken("fresh", 60); });
    EXPECT_EQ(client.refreshAccessToken(true), "fresh");
    EXPECT_EQ(announced, 60);
}

// The account plans a renewal from the token's lifetime; signing out stops
// it, and a sign-in whose token arrives after the sign-out stays out.
TEST(TokenRenewal, SignOutStopsTheRenewalAndOutlivesASignInStillUnderWay)
{
    QuorvelTest::ScriptedHttpServer endpoint;
    ASSERT_NE(endpoint.start(), 0);
    endpoint.route(QStringLiteral("/oauth/token"),
                   {200,
                    {{"Content-Type", "application/json"}},
                    R"({"token_type":"Bearer","expires_in":3600,"access_token":"first"})"});
    CVyxAccount account;
    const QPointer<Ambrel::Client> client = account.getAmbrelClient();
    auto* renewal = account.findChild<QTimer*>(QString(), Qt::FindDirectChildrenOnly);
    ASSERT_NE(renewal, nullptr);
    const Ambrel::ClientCredentials credentials{QUrl(endpoint.baseUrl() + QStringLiteral("/oauth/token")),
                                                QStringLiteral("c"), QStringLiteral("s")};
    // The token is fetched off this thread; its watcher goes once it has
    // delivered the answer to the account.
    const auto settled = [&account] {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        return account.findChildren<QFutureWatcherBase*>().isEmpty();
    };

    account.signIn(credentials);
    ASSERT_TRUE(QuorvelTest::waitUntil([&] { return account.getIsSignedIn() && settled(); }));
    EXPECT_EQ(client->getAccessTokenBytes(), "first");
    EXPECT_TRUE(renewal->isActive());
    EXPECT_EQ(renewal->interval(), 3540000);
    account.signOut();
    EXPECT_FALSE(renewal->isActive());

    // Signing out in the same turn comes before the token is handed back;
    // the request may be ended before it goes out, which is no failure to
    // report.
    QStringList failures;
    QObject::connect(&account, &CVyxAccount::signInFailed,
                     [&failures](const QString& why) { failures << why; });
    account.signIn(credentials);
    account.signOut();
    ASSERT_TRUE(QuorvelTest::waitUntil(settled));
    EXPECT_TRUE(failures.isEmpty()) << failures.join(u'\n').toStdString();
    EXPECT_LE(endpoint.received().size(), 2);
    EXPECT_FALSE(account.getIsSignedIn());
    EXPECT_TRUE(client->getAccessTokenBytes().isEmpty());
    EXPECT_FALSE(renewal->isActive());

    // A second sign-in before the first has its token: only the second counts.
    endpoint.route(QStringLiteral("/other/token"),
                   {200, {}, R"({"token_type":"Bearer","expires_in":1,"access_token":"second"})"});
    int announced = 0;
    QObject::connect(&account, &CVyxAccount::signedInUserChanged, [&announced] { ++announced; });
    account.signIn(credentials);
    account.signIn({QUrl(endpoint.baseUrl() + QStringLiteral("/other/token")), QStringLiteral("d"),
                    QStringLiteral("s")});
    const auto askedOther = [&endpoint] {
        const auto received = endpoint.received();
        return std::any_of(received.begin(), received.end(),
                           [](const auto& r) { return r.target == "/other/token"; });
    };
    ASSERT_TRUE(QuorvelTest::waitUntil([&] { return askedOther() && settled(); }));
    EXPECT_EQ(announced, 1);
    EXPECT_TRUE(failures.isEmpty()) << failures.join(u'\n').toStdString();
    EXPECT_EQ(account.getUserInfo().userId, "d");
    EXPECT_EQ(client->getAccessTokenBytes(), "second");
    // A fifth of the lifetime is left, never more than a minute: even a
    // token of one second is renewed before it expires.
    EXPECT_EQ(renewal->interval(), 800);
    // When it fires, the account fetches a token again and plans the next renewal.
    endpoint.route(QStringLiteral("/other/token"),
                   {200, {}, R"({"token_type":"Bearer","expires_in":3600,"access_token":"third"})"});
    renewal->start(0);
    ASSERT_TRUE(
        QuorvelTest::waitUntil([&] { return client->getAccessTokenBytes() == "third" && settled(); }));
    EXPECT_EQ(renewal->interval(), 3540000);
}

} // namespace
