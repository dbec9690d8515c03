// The assembled chain without a host: buildSdkChain over a real network
// service and the host's sign-in client, against a loopback server served by
// this thread while the adapter's pool thread waits for the exchange. It
// pins the one request the plug-in sends, byte for byte.
#include <algorithm>
#include <memory>
#include <tuple>

#include <QScopeGuard>
#include <QTcpServer>
#include <QTcpSocket>

#include <gtest/gtest.h>

#include <Ambrel/Client.h>

#include "chat/SdkChain.h"
#include "chat_test_support.h"
#include "sdk/qt/AmbrelTokenProvider.h"
#include "sdk/qt/QtHttpNetworkService.h"
#include "support/qt/OffThread.h"
#include "support/qt/ScriptedHttpServer.h"

namespace QuorvelChatTest {
namespace {

using namespace QuorvelChat;

constexpr const char* kTicketReply =
    R"([{"id":"0a1b2c3d-4e5f-4a6b-8c7d-9e0f1a2b3c4d","entityTypeKey":"BUSINESS_TICKET",)"
    R"("stateKey":"assigned","stateId":"00000000-0000-0000-0000-0000000000f1","isDraft":false,)"
    R"("version":31,"attributeValues":[{"attributeKey":"TICKET_TITLE","valueLocales":[)"
    R"({"key":"EN_US","display":"VPN drops every hour","value":"vpn"}]}]}])";

// A chain over its own network service, at `baseUrl`, signed in with "tok".
struct Chain
{
    Chain(const QString& baseUrl, const QString& suffix = {})
    {
        client.setAccessToken("tok");
        settings.networkService = network.get();
        settings.tokenProvider = &provider;
        settings.baseUrl = baseUrl;
        settings.businessId = QStringLiteral("b1");
        settings.businessIdSuffix = suffix;
        adapter = buildSdkChain(settings);
    }

    std::unique_ptr<QuorvelSdk::QtHttpNetworkService> network =
        std::make_unique<QuorvelSdk::QtHttpNetworkService>();
    Ambrel::Client client;
    QuorvelSdk::AmbrelTokenProvider provider{&client};
    SdkChainSettings settings;
    std::unique_ptr<SdkAdapter> adapter;
};

// The business id's suffix picks the tenant's address but is no part of the
// business the chat belongs to. The second reply has no version, read as 0.
TEST(ChainOverQt, ResolvesTheDutyChannelWithTheSignedInToken)
{
    const std::tuple<const char*, const char*, qint64> rows[] = {
        {"", "/api/business/quorvel/b1/v0/entities/query/vector?Skip=0&Take=1", 31},
        {"eu", "/api/business/quorvel/b1.eu/v0/entities/query/vector?Skip=0&Take=1", 0},
    };
    for (const auto& [suffix, target, version] : rows) {
        SCOPED_TRACE(suffix);
        QuorvelTest::ScriptedHttpServer server;
        ASSERT_NE(server.start(), 0);
        server.push(
            {200,
             {{"Content-Type", "application/json"}},
             version ? QByteArray(kTicketReply) : QByteArray(kTicketReply).replace("\"version\":31,", "")});
        Chain chain(server.baseUrl(), QString::fromLatin1(suffix));
        ASSERT_NE(chain.adapter, nullptr);
        // Waits off this thread, which serves the server; after a watchdog,
        // wakes the pool thread that waits on the exchange.
        const auto result = QuorvelTest::runOffThread<Result<Chat>>(
            [&] { return chain.adapter->resolveChat().result(); }, [&] { chain.network.reset(); });
        chain.adapter.reset();
        ASSERT_TRUE(result.has_value());
        ASSERT_TRUE(result->hasValue()) << ::testing::PrintToString(result->error());

        // The chat's fields as shown are the end-to-end suite's business.
        EXPECT_EQ(result->value().title, QStringLiteral("VPN drops every hour"));
        EXPECT_EQ(result->value().businessId, QStringLiteral("b1"));
        EXPECT_EQ(result->value().version, version);

        const auto received = server.received();
        ASSERT_EQ(received.size(), 1);
        EXPECT_EQ(received[0].method, QStringLiteral("Post"));
        EXPECT_EQ(received[0].target, QString::fromLatin1(target));
        EXPECT_EQ(received[0].header("Authorization"), QByteArray("Bearer tok"));
        EXPECT_EQ(received[0].count("Authorization"), 1);
        EXPECT_EQ(received[0].header("Content-Type"), QByteArray("application/json"));
        EXPECT_EQ(received[0].body, QByteArray(kDutyChannelQueryBody));
    }
}

// Each resolution supersedes the one before: its exchange ends at once, so
// that presses of refresh against a service that never answers can never
// fill the pool, and the latest is the one still waiting. Retiring the chain
// ends that one too.
TEST(ChainOverQt, ANewResolutionEndsTheOneBefore)
{
    QTcpServer silent;
    ASSERT_TRUE(silent.listen(QHostAddress::LocalHost, 0));
    // Reads every request and never answers. A connection whose exchange
    // was cancelled may carry the next one.
    QByteArray received;
    QObject::connect(&silent, &QTcpServer::newConnection, [&] {
        while (QTcpSocket* socket = silent.nextPendingConnection())
            QObject::connect(socket, &QTcpSocket::readyRead,
                             [&received, socket] { received += socket->readAll(); });
    });
    const auto requests = [&received] { return received.count("POST /api/"); };
    Chain made(QStringLiteral("http://127.0.0.1:%1").arg(silent.serverPort()));
    SdkAdapter* chain = made.adapter.get();
    // Whatever fails, nothing is left waiting for the server.
    const auto retire = qScopeGuard([&] { chain->cancel(); });
    QList<QFuture<Result<Chat>>> resolutions;
    // One more than the pool has threads.
    for (int press = 0; press < 5; ++press) {
        resolutions << chain->resolveChat();
        // Each reaches the server before the next press.
        ASSERT_TRUE(QuorvelTest::waitUntil([&] { return requests() > press; }));
    }
    ASSERT_TRUE(QuorvelTest::waitUntil([&] {
        return std::all_of(resolutions.begin(), resolutions.end() - 1,
                           [](const auto& f) { return f.isFinished(); });
    }));
    EXPECT_FALSE(resolutions.last().isFinished());
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(resolutions[i].result().error(),
                  (Error{ErrorKind::Network, "The exchange was cancelled.", 5}))
            << i;
    chain->cancel();
    ASSERT_TRUE(QuorvelTest::waitUntil([&] { return resolutions.last().isFinished(); }));
    EXPECT_EQ(resolutions.last().result().error().httpCode, 5);
}

} // namespace
} // namespace QuorvelChatTest
