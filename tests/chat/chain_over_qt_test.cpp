// The assembled chain without a host: buildSdkChain over a real network
// service and the host's sign-in client, against a loopback server served by
// this thread while the adapter's pool thread waits for the exchange.
#include <memory>
#include <optional>

#include <QNetworkReply>
#include <QTcpServer>

#include <gtest/gtest.h>

#include <Ambrel/Client.h>

#include "chat/SdkChain.h"
#include "chat_test_support.h"
#include "sdk/api/BusinessEntitiesQueryApi.h"
#include "sdk/qt/AmbrelTokenProvider.h"
#include "sdk/qt/QtHttpNetworkService.h"
#include "support/qt/ScriptedHttpServer.h"
#include "view/EntityDump.h"

namespace QuorvelChatTest {
namespace {

using namespace QuorvelChat;
using QuorvelTest::ScriptedHttpServer;

constexpr const char* kQueryTarget = "/api/business/quorvel/b1/v0/entities/query/vector?Skip=0&Take=1";

constexpr const char* kTicketReply =
    R"([{"id":"0a1b2c3d-4e5f-4a6b-8c7d-9e0f1a2b3c4d","entityTypeKey":"BUSINESS_TICKET",)"
    R"("stateKey":"assigned","stateId":"00000000-0000-0000-0000-0000000000f1","isDraft":false,)"
    R"("version":31,"attributeValues":[{"attributeKey":"TICKET_TITLE","valueLocales":[)"
    R"({"key":"EN_US","display":"VPN drops every hour","value":"vpn"}]}]}])";

class ChainOverQt : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_NE(server.start(), 0);
        network = std::make_unique<QuorvelSdk::QtHttpNetworkService>();
        client.setAccessToken("tok-e2e");
        settings.networkService = network.get();
        settings.tokenProvider = &provider;
        settings.baseUrl = server.baseUrl();
        settings.businessId = QStringLiteral("b1");
        settings.dumpEntity = &QuorvelChat::dumpEntity;
    }

    std::optional<Result<Chat>> resolve()
    {
        chain = buildSdkChain(settings);
        if (!chain) {
            ADD_FAILURE() << "no chain";
            return std::nullopt;
        }
        const auto result = awaitResult(chain->resolveChat());
        if (!result) {
            // Wakes the pool thread that waits on the exchange, then lets the
            // pool drain.
            network.reset();
            chain.reset();
        }
        return result;
    }

    ScriptedHttpServer server;
    std::unique_ptr<QuorvelSdk::QtHttpNetworkService> network;
    Ambrel::Client client;
    QuorvelSdk::AmbrelTokenProvider provider{&client};
    SdkChainSettings settings;
    // Declared last: the pool drains before the network service goes.
    std::unique_ptr<SdkAdapter> chain;
};

TEST_F(ChainOverQt, ResolvesTheDutyChannelWithTheSignedInToken)
{
    server.push({200, {{"Content-Type", "application/json"}}, kTicketReply});
    const auto result = resolve();
    ASSERT_TRUE(result.has_value());
    ASSERT_TRUE(result->hasValue()) << ::testing::PrintToString(result->error());

    const Chat& chat = result->value();
    EXPECT_EQ(chat.id, QUuid::fromString(QStringLiteral("{0a1b2c3d-4e5f-4a6b-8c7d-9e0f1a2b3c4d}")));
    EXPECT_EQ(chat.kind, ChatKind::BusinessTicket);
    EXPECT_EQ(chat.title, QStringLiteral("VPN drops every hour"));
    EXPECT_EQ(chat.businessId, QStringLiteral("b1"));
    EXPECT_EQ(chat.stateKey, QStringLiteral("assigned"));
    EXPECT_TRUE(chat.isDefaultChannel);
    EXPECT_EQ(chat.version, 31);

    const auto entities = tarsion::quorvel::api::BusinessEntitiesQueryApi::entities_from(kTicketReply);
    ASSERT_TRUE(entities.has_value());
    ASSERT_EQ(entities->size(), 1u);
    EXPECT_EQ(chat.rawDump, dumpEntity(entities->front()));
    EXPECT_TRUE(chat.rawDump.contains(QStringLiteral("assigned")));

    const auto received = server.received();
    ASSERT_EQ(received.size(), 1);
    EXPECT_EQ(received[0].method, QStringLiteral("Post"));
    EXPECT_EQ(received[0].target, QString::fromLatin1(kQueryTarget));
    EXPECT_EQ(received[0].header("Authorization"), QByteArray("Bearer tok-e2e"));
    EXPECT_EQ(received[0].count("Authorization"), 1);
    EXPECT_EQ(received[0].header("Content-Type"), QByteArray("application/json"));
    EXPECT_EQ(received[0].body, QByteArray(kDutyChannelQueryBody));
}

TEST_F(ChainOverQt, ServiceUnavailableIsOneRequestAndAServerError)
{
    server.push({503, {{"Content-Type", "text/plain"}}, "busy"});
    server.push({200, {{"Content-Type", "application/json"}}, kTicketReply});
    const auto result = resolve();
    ASSERT_TRUE(result.has_value());
    ASSERT_FALSE(result->hasValue());
    EXPECT_EQ(result->error(), (Error{ErrorKind::ServerError, QStringLiteral("busy"), 503}));
    EXPECT_EQ(server.received().size(), 1);
}

TEST_F(ChainOverQt, BusinessIdSuffixIsAddressedButNotReported)
{
    settings.businessIdSuffix = QStringLiteral("eu");
    server.push({200, {{"Content-Type", "application/json"}}, kTicketReply});
    const auto result = resolve();
    ASSERT_TRUE(result.has_value());
    ASSERT_TRUE(result->hasValue()) << ::testing::PrintToString(result->error());
    EXPECT_EQ(result->value().businessId, QStringLiteral("b1"));
    const auto received = server.received();
    ASSERT_EQ(received.size(), 1);
    EXPECT_EQ(received[0].target,
              QStringLiteral("/api/business/quorvel/b1.eu/v0/entities/query/vector?Skip=0&Take=1"));
}

TEST_F(ChainOverQt, ExpiredTokenIsRenewedThroughTheSignInClient)
{
    client.setTokenSource([] { return QByteArray("tok-renewed"); });
    server.push({401, {}, "expired"});
    server.push({200, {{"Content-Type", "application/json"}}, kTicketReply});
    const auto result = resolve();
    ASSERT_TRUE(result.has_value());
    ASSERT_TRUE(result->hasValue()) << ::testing::PrintToString(result->error());
    const auto received = server.received();
    ASSERT_EQ(received.size(), 2);
    EXPECT_EQ(received[0].header("Authorization"), QByteArray("Bearer tok-e2e"));
    EXPECT_EQ(received[1].header("Authorization"), QByteArray("Bearer tok-renewed"));
    EXPECT_EQ(received[1].body, received[0].body);
}

TEST_F(ChainOverQt, CustomerChainSendsNothing)
{
    settings.principalKind = 1;
    const auto result = resolve();
    ASSERT_TRUE(result.has_value());
    ASSERT_FALSE(result->hasValue());
    EXPECT_EQ(result->error().kind, ErrorKind::NotImplemented);
    EXPECT_EQ(result->error().httpCode, -1);
    EXPECT_TRUE(server.received().isEmpty());
}

TEST_F(ChainOverQt, RefusedConnectionIsANetworkErrorWithQtsNumber)
{
    QTcpServer closed;
    ASSERT_TRUE(closed.listen(QHostAddress::LocalHost, 0));
    const quint16 port = closed.serverPort();
    closed.close();
    settings.baseUrl = QStringLiteral("http://127.0.0.1:%1").arg(port);

    const auto result = resolve();
    ASSERT_TRUE(result.has_value());
    ASSERT_FALSE(result->hasValue());
    EXPECT_EQ(result->error().kind, ErrorKind::Network);
    EXPECT_EQ(result->error().httpCode, qint32(QNetworkReply::ConnectionRefusedError));
}

} // namespace
} // namespace QuorvelChatTest
