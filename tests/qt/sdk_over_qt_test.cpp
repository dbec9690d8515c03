// The whole SDK call path over the Qt transport: tenant, token factory over
// the host's sign-in client, query API, real loopback server.
#include <gtest/gtest.h>

#include <Ambrel/Client.h>

#include "sdk/api/BusinessEntitiesQueryApi.h"
#include "sdk/core/c_random.h"
#include "sdk/qt/AmbrelTokenProvider.h"
#include "sdk/qt/QtTokenFactory.h"
#include "transport_fixture.h"

namespace QuorvelTest {
namespace {

using tarsion::quorvel::api::BusinessEntitiesQueryApi;
using tarsion::quorvel::dto::BusinessEntitiesQueryDto;
using tarsion::quorvel::dto::EntityDto;
using Entities = tarsion::expected<std::vector<EntityDto>>;

class SdkOverQt : public TransportTest
{
protected:
    void SetUp() override
    {
        TransportTest::SetUp();
        client.setAccessToken("token-1");
        tarsion::tenant_base settings;
        settings.base_url = server.baseUrl().toStdString() + "/";
        settings.http_client = std::shared_ptr<tarsion::http::http_base>(transport.release());
        settings.random = std::make_shared<tarsion::random::c_random>();
        settings.business_id = "b1";
        tenant = std::make_shared<tarsion::tenant>(settings,
                                                   std::make_unique<QuorvelSdk::QtTokenFactory>(&provider));
        tenant->sleep = [](std::uint32_t) {};
    }

    Entities query()
    {
        BusinessEntitiesQueryDto q;
        q.entitiesByEntityTypeKeys = std::vector<std::string>{"BUSINESS_TICKET"};
        BusinessEntitiesQueryApi api(tenant);
        auto done =
            runOffThread<Entities>([&] { return api.query_vector(q, 0, 1); }, [this] { service.reset(); });
        return done.value_or(tarsion::make_error(0, 0, "watchdog"));
    }

    Ambrel::Client client;
    QuorvelSdk::AmbrelTokenProvider provider{&client};
    std::shared_ptr<tarsion::tenant> tenant;
};

TEST_F(SdkOverQt, QueryReturnsTheServersEntitiesWithTheClientsToken)
{
    server.push({200,
                 {{"Content-Type", "application/json"}},
                 R"([{"id":"00000000-0000-0000-0000-000000000001","stateKey":"open"},)"
                 R"({"id":"00000000-0000-0000-0000-000000000002"}])"});
    const Entities got = query();
    ASSERT_TRUE(got.has_value()) << got.error().message;
    ASSERT_EQ(got->size(), 2u);
    EXPECT_EQ((*got)[0].stateKey, "open");
    EXPECT_EQ((*got)[1].id, (tarsion::uuid{0, 2}));

    const auto received = server.received();
    ASSERT_EQ(received.size(), 1);
    EXPECT_EQ(received[0].method, "Post");
    EXPECT_EQ(received[0].target, "/api/business/quorvel/b1/v0/entities/query/vector?Skip=0&Take=1");
    EXPECT_EQ(received[0].header("Authorization"), "Bearer token-1");
    EXPECT_EQ(received[0].header("Content-Type"), "application/json");
    EXPECT_EQ(received[0].body, R"({"entitiesByEntityTypeKeys":["BUSINESS_TICKET"]})");
}

TEST_F(SdkOverQt, UnauthorisedRenewsThroughTheSignInClientAndResends)
{
    client.setTokenSource([] { return QByteArray("token-2"); });
    server.push({401, {}, "expired"});
    server.push({200, {}, "[]"});
    const Entities got = query();
    ASSERT_TRUE(got.has_value()) << got.error().message;
    EXPECT_TRUE(got->empty());
    const auto received = server.received();
    ASSERT_EQ(received.size(), 2);
    EXPECT_EQ(received[0].header("Authorization"), "Bearer token-1");
    EXPECT_EQ(received[1].header("Authorization"), "Bearer token-2");
    EXPECT_EQ(received[1].body, received[0].body);
}

TEST_F(SdkOverQt, ServerErrorBecomesAStatusErrorWithItsHeaders)
{
    server.push({500, {{"X-Request-Id", "r1"}}, "boom"});
    const Entities got = query();
    ASSERT_FALSE(got.has_value());
    EXPECT_EQ(got.error().kind, tarsion::error_kind::http_status);
    EXPECT_EQ(got.error().code, 500u);
    EXPECT_EQ(got.error().message, "boom");
    ASSERT_NE(got.error().details.find("X-Request-Id"), nullptr);
    EXPECT_EQ(got.error().details.find("X-Request-Id")->second, "r1");
}

} // namespace
} // namespace QuorvelTest
