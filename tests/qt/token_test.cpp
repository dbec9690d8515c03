// Tokens from the host's sign-in client, through the provider and the SDK's
// token factory.
#include <gtest/gtest.h>

#include <Ambrel/Client.h>

#include "sdk/qt/AmbrelTokenProvider.h"
#include "sdk/qt/QtTokenFactory.h"

namespace QuorvelSdk {
namespace {

class ScriptedProvider : public IAuthTokenProvider
{
public:
    QByteArray accessToken() override { return current; }
    QByteArray refreshAccessToken() override
    {
        ++refreshes;
        return renewed;
    }
    QByteArray current;
    QByteArray renewed;
    int refreshes = 0;
};

struct RefreshCase
{
    const char* name;
    QByteArray current;
    std::string failed;
    QByteArray renewed;
    int refreshes;
    std::optional<std::string> token; // empty: the "empty token" error
};

class TokenFactoryRefresh : public ::testing::TestWithParam<RefreshCase>
{
};

TEST_P(TokenFactoryRefresh, RenewsOnlyWhenNobodyElseDid)
{
    const RefreshCase& c = GetParam();
    ScriptedProvider provider;
    provider.current = c.current;
    provider.renewed = c.renewed;
    QtTokenFactory factory(&provider);

    const tarsion::expected<std::string> got = factory.refresh_token(c.failed);
    EXPECT_EQ(provider.refreshes, c.refreshes);
    if (c.token) {
        ASSERT_TRUE(got.has_value());
        EXPECT_EQ(*got, *c.token);
    } else {
        ASSERT_FALSE(got.has_value());
        EXPECT_EQ(got.error().kind, tarsion::error_kind::transport);
        EXPECT_EQ(got.error().code, 0u);
        EXPECT_EQ(got.error().message, "QtTokenFactory: refresh returned empty token.");
    }
}

INSTANTIATE_TEST_SUITE_P(Branches, TokenFactoryRefresh,
                         ::testing::Values(RefreshCase{"SomebodyElseRenewed", "new", "old", "unused", 0,
                                                       "new"},
                                           RefreshCase{"FailedIsCurrent", "old", "old", "fresh", 1, "fresh"},
                                           RefreshCase{"EmptyFailedToken", "cur", "", "fresh", 1, "fresh"},
                                           RefreshCase{"NoCurrentToken", "", "old", "fresh", 1, "fresh"},
                                           RefreshCase{"RenewalFails", "old", "old", "", 1, std::nullopt}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(TokenFactory, GetTokenIsTheProvidersCurrentToken)
{
    ScriptedProvider provider;
    QtTokenFactory factory(&provider);
    EXPECT_EQ(factory.get_token(), "");
    provider.current = "abc";
    EXPECT_EQ(factory.get_token(), "abc");
}

TEST(AmbrelTokenProvider, PassesTheClientsTokensThrough)
{
    Ambrel::Client client;
    client.setAccessToken("first");
    int renewals = 0;
    client.setTokenSource([&] {
        ++renewals;
        return QByteArray("second");
    });
    AmbrelTokenProvider provider(&client);
    EXPECT_EQ(provider.accessToken(), "first");
    EXPECT_EQ(provider.refreshAccessToken(), "second");
    EXPECT_EQ(renewals, 1);
    EXPECT_EQ(provider.accessToken(), "second");
}

TEST(AmbrelTokenProvider, DeletedClientGivesEmptyTokensAndTheRenewalError)
{
    auto client = std::make_unique<Ambrel::Client>();
    client->setAccessToken("t");
    client->setTokenSource([] { return QByteArray("renewed"); });
    AmbrelTokenProvider provider(client.get());
    QtTokenFactory factory(&provider);
    client.reset();

    EXPECT_TRUE(provider.accessToken().isEmpty());
    EXPECT_TRUE(provider.refreshAccessToken().isEmpty());
    EXPECT_EQ(factory.get_token(), "");
    const auto renewed = factory.refresh_token("t");
    ASSERT_FALSE(renewed.has_value());
    EXPECT_EQ(renewed.error().message, "QtTokenFactory: refresh returned empty token.");
}

} // namespace
} // namespace QuorvelSdk
