#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "sdk/core/api_base.h"
#include "sdk/core/string_body.h"
#include "sdk/core/tenant.h"
#include "tests/support/pipeline_fakes.h"
#include "tests/support/scripted_http_client.h"

namespace tarsion {
namespace {

using ::testing::ElementsAre;
using testing::fake_token_factory;
using ::testing::IsEmpty;
using testing::recorded_waits;
using testing::scripted_http_client;
using testing::scripted_reply;

using header_pairs = std::vector<http::header>;

header_pairs pairs_of(const http::header_list& headers)
{
    return header_pairs(headers.begin(), headers.end());
}

class TenantToken : public ::testing::Test
{
protected:
    // A tenant with the system's policy over a scripted client; the factory,
    // when given, stays reachable through `tokens`.
    void make_tenant(std::vector<scripted_reply> script,
                     std::unique_ptr<fake_token_factory> factory = nullptr)
    {
        client = std::make_shared<scripted_http_client>(std::move(script));
        tokens = factory.get();
        t = std::make_shared<tenant>(testing::system_settings(client), std::move(factory));
        t->sleep = waits.function();
    }

    expected<http_response> send(const std::string& verb, const http::header_list& headers = {})
    {
        return t->execute(verb, "/x", headers, &body, 0, false, false);
    }

    std::shared_ptr<scripted_http_client> client;
    fake_token_factory* tokens = nullptr;
    std::shared_ptr<tenant> t;
    recorded_waits waits;
    const http::string_body::factory body{std::string("{\"q\":\"payload\"}")};
};

// ---- attaching the token ------------------------------------------------

TEST_F(TenantToken, BearerTokenIsAppendedAfterTheCallersHeaders)
{
    make_tenant({{200, "", {}, 0}}, std::make_unique<fake_token_factory>("tok"));
    ASSERT_TRUE(send("GET", {{"Content-Type", "application/json"}, {"X-A", "1"}}).has_value());
    const auto sends = client->sends();
    ASSERT_EQ(sends.size(), 1u);
    EXPECT_EQ(
        pairs_of(sends[0].headers),
        (header_pairs{{"Content-Type", "application/json"}, {"X-A", "1"}, {"Authorization", "Bearer tok"}}));
    EXPECT_EQ(tokens->get_calls(), 1);
}

TEST_F(TenantToken, EmptyTokenSendsNoAuthorizationAtAll)
{
    make_tenant({{200, "", {}, 0}}, std::make_unique<fake_token_factory>(""));
    ASSERT_TRUE(send("GET", {{"X-A", "1"}}).has_value());
    const auto sends = client->sends();
    ASSERT_EQ(sends.size(), 1u);
    EXPECT_EQ(pairs_of(sends[0].headers), (header_pairs{{"X-A", "1"}}));
}

TEST_F(TenantToken, CallersAuthorizationIsReplacedEvenWhenGivenTwice)
{
    make_tenant({{200, "", {}, 0}}, std::make_unique<fake_token_factory>("tok"));
    ASSERT_TRUE(
        send("GET",
             {{"Authorization", "Basic a"}, {"X-A", "1"}, {"Authorization", "Bearer stale"}, {"X-B", "2"}})
            .has_value());
    const auto sends = client->sends();
    ASSERT_EQ(sends.size(), 1u);
    EXPECT_EQ(pairs_of(sends[0].headers),
              (header_pairs{{"X-A", "1"}, {"X-B", "2"}, {"Authorization", "Bearer tok"}}));
}

TEST_F(TenantToken, CallersAuthorizationIsDroppedWhenThereIsNoToken)
{
    make_tenant({{200, "", {}, 0}}, std::make_unique<fake_token_factory>(""));
    ASSERT_TRUE(send("GET", {{"Authorization", "Bearer stale"}, {"X-A", "1"}}).has_value());
    EXPECT_EQ(pairs_of(client->sends().at(0).headers), (header_pairs{{"X-A", "1"}}));
}

// Header names are compared byte for byte, so another spelling is the
// caller's own business and goes out untouched.
TEST_F(TenantToken, OnlyTheExactNameAuthorizationIsReplaced)
{
    make_tenant({{200, "", {}, 0}}, std::make_unique<fake_token_factory>("tok"));
    ASSERT_TRUE(send("GET", {{"authorization", "x"}}).has_value());
    EXPECT_EQ(pairs_of(client->sends().at(0).headers),
              (header_pairs{{"authorization", "x"}, {"Authorization", "Bearer tok"}}));
}

TEST_F(TenantToken, TenantWithoutFactorySendsNoAuthorization)
{
    make_tenant({{200, "", {}, 0}});
    ASSERT_TRUE(send("GET", {{"Authorization", "Bearer stale"}, {"X-A", "1"}}).has_value());
    EXPECT_EQ(pairs_of(client->sends().at(0).headers), (header_pairs{{"X-A", "1"}}));
}

// ---- renewal after a 401 ------------------------------------------------

TEST_F(TenantToken, RenewedTokenResendsEvenAPost)
{
    make_tenant({{401, "expired", {}, 0}, {200, "fine", {}, 0}},
                std::make_unique<fake_token_factory>("old", std::string("new")));
    const expected<http_response> result = send("POST", {{"X-A", "1"}});

    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->status, 200u);
    EXPECT_EQ(result->body, "fine");
    EXPECT_THAT(tokens->refreshed_from(), ElementsAre("old"));
    const auto sends = client->sends();
    ASSERT_EQ(sends.size(), 2u);
    EXPECT_EQ(pairs_of(sends[0].headers), (header_pairs{{"X-A", "1"}, {"Authorization", "Bearer old"}}));
    EXPECT_EQ(pairs_of(sends[1].headers), (header_pairs{{"X-A", "1"}, {"Authorization", "Bearer new"}}));
    for (const auto& s : sends) {
        EXPECT_EQ(s.verb, "POST");
        EXPECT_EQ(s.url, "http://127.0.0.1:1/x");
        EXPECT_EQ(s.body, "{\"q\":\"payload\"}");
    }
    EXPECT_THAT(waits.waits(), IsEmpty());
}

TEST_F(TenantToken, RenewalOfAnEmptyTokenIsAskedWithTheEmptyToken)
{
    make_tenant({{401, "", {}, 0}, {200, "", {}, 0}},
                std::make_unique<fake_token_factory>("", std::string("fresh")));
    ASSERT_TRUE(send("GET").has_value());
    EXPECT_THAT(tokens->refreshed_from(), ElementsAre(""));
    const auto sends = client->sends();
    ASSERT_EQ(sends.size(), 2u);
    EXPECT_THAT(pairs_of(sends[0].headers), IsEmpty());
    EXPECT_EQ(pairs_of(sends[1].headers), (header_pairs{{"Authorization", "Bearer fresh"}}));
}

TEST_F(TenantToken, RenewalToTheSameTokenReturnsThe401AsSuccess)
{
    make_tenant({{401, "denied", {{"WWW-Authenticate", "Bearer"}}, 0}, {200, "", {}, 0}},
                std::make_unique<fake_token_factory>("tok", std::string("tok")));
    const expected<http_response> result = send("GET");

    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->status, 401u);
    EXPECT_EQ(result->body, "denied");
    EXPECT_EQ(pairs_of(result->headers), (header_pairs{{"WWW-Authenticate", "Bearer"}}));
    EXPECT_EQ(client->sends().size(), 1u);
    EXPECT_THAT(tokens->refreshed_from(), ElementsAre("tok"));
}

TEST_F(TenantToken, TokenIsRenewedAtMostOnce)
{
    make_tenant({{401, "first", {}, 0}, {401, "second", {}, 0}, {200, "", {}, 0}},
                std::make_unique<fake_token_factory>("old", std::string("new")));
    const expected<http_response> result = send("GET");

    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->status, 401u);
    EXPECT_EQ(result->body, "second");
    EXPECT_EQ(client->sends().size(), 2u);
    EXPECT_EQ(tokens->refreshed_from().size(), 1u);
}

TEST_F(TenantToken, ResendAfterRenewalRetriesLikeAnyAttempt)
{
    make_tenant({{401, "", {}, 0}, {503, "busy", {}, 0}, {200, "ok", {}, 0}},
                std::make_unique<fake_token_factory>("old", std::string("new")));
    const expected<http_response> result = send("GET");

    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->status, 200u);
    const auto sends = client->sends();
    ASSERT_EQ(sends.size(), 3u);
    EXPECT_EQ(sends[2].headers.find("Authorization")->second, "Bearer new");
    EXPECT_THAT(waits.waits(), ElementsAre(1u));
}

TEST_F(TenantToken, A401AfterRetriesIsStillRenewed)
{
    make_tenant({{503, "", {}, 0}, {401, "", {}, 0}, {200, "ok", {}, 0}},
                std::make_unique<fake_token_factory>("old", std::string("new")));
    const expected<http_response> result = send("GET");

    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->status, 200u);
    EXPECT_EQ(client->sends().size(), 3u);
    EXPECT_THAT(waits.waits(), ElementsAre(1u));
}

TEST_F(TenantToken, TransportFailureOnTheResendIsAnError)
{
    make_tenant({{401, "", {}, 0}, {0, "", {}, 99}},
                std::make_unique<fake_token_factory>("old", std::string("new")));
    const expected<http_response> result = send("POST");

    ASSERT_FALSE(result.has_value());
    EXPECT_EQ(result.error(), (error{4, 99, "", {}}));
}

TEST_F(TenantToken, A401WithoutFactoryIsReturnedAsIs)
{
    make_tenant({{401, "denied", {}, 0}, {200, "", {}, 0}});
    const expected<http_response> result = send("GET");

    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->status, 401u);
    EXPECT_EQ(client->sends().size(), 1u);
}

TEST_F(TenantToken, OtherStatusesDoNotRenew)
{
    make_tenant({{403, "", {}, 0}, {403, "", {}, 0}, {403, "", {}, 0}, {403, "", {}, 0}},
                std::make_unique<fake_token_factory>("old", std::string("new")));
    const expected<http_response> result = send("GET");

    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->status, 403u);
    EXPECT_THAT(tokens->refreshed_from(), IsEmpty());
}

struct renewal_error_case
{
    const char* name;
    std::uint32_t refresh_kind;
    std::uint32_t expected_kind;
};

class TenantTokenRenewalError : public TenantToken, public ::testing::WithParamInterface<renewal_error_case>
{
};

TEST_P(TenantTokenRenewalError, EndsTheCallWithTheRenewalError)
{
    const renewal_error_case& c = GetParam();
    const http::header_list details{{"X-Trace", "t1"}};
    make_tenant({{401, "expired", {}, 0}, {200, "", {}, 0}},
                std::make_unique<fake_token_factory>(
                    "old", make_error(c.refresh_kind, 418, "renewal refused", details)));
    const expected<http_response> result = send("POST");

    ASSERT_FALSE(result.has_value());
    EXPECT_EQ(result.error(), (error{c.expected_kind, 418, "renewal refused", details}));
    EXPECT_EQ(client->sends().size(), 1u);
}

INSTANTIATE_TEST_SUITE_P(Kinds, TenantTokenRenewalError,
                         ::testing::Values(renewal_error_case{"StatusErrorBecomesRenewalStatusError", 5, 6},
                                           renewal_error_case{"TransportErrorUnchanged", 4, 4},
                                           renewal_error_case{"MissingConfigurationUnchanged", 2, 2},
                                           renewal_error_case{"RenewalStatusUnchanged", 6, 6},
                                           renewal_error_case{"InvalidBodyUnchanged", 7, 7},
                                           renewal_error_case{"KindZeroUnchanged", 0, 0}),
                         [](const auto& info) { return std::string(info.param.name); });

// ---- missing pieces -----------------------------------------------------

// ---- header values that would break the request's framing --------------

struct unsafe_header_case
{
    const char* name;
    std::string token;
    std::optional<std::string> renewed;
    http::header_list headers;
    // Requests that reach the client before the call fails.
    std::size_t sent;
    const char* message;
};

void PrintTo(const unsafe_header_case& c, std::ostream* out)
{
    *out << c.name;
}

class TenantUnsafeHeader : public TenantToken, public ::testing::WithParamInterface<unsafe_header_case>
{
};

TEST_P(TenantUnsafeHeader, IsNeverSentAndTheCallSaysWhichHeader)
{
    const unsafe_header_case& c = GetParam();
    make_tenant({{401, "expired", {}, 0}, {200, "fine", {}, 0}},
                std::make_unique<fake_token_factory>(c.token, c.renewed.value_or(std::string())));
    const expected<http_response> result = send("POST", c.headers);

    ASSERT_FALSE(result.has_value());
    EXPECT_EQ(result.error().kind, error_kind::transport);
    EXPECT_EQ(result.error().message, c.message);
    EXPECT_EQ(client->sends().size(), c.sent);
    // The token never appears in the message.
    EXPECT_EQ(result.error().message.find("tok"), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, TenantUnsafeHeader,
    ::testing::Values(
        unsafe_header_case{"LineFeedInTheToken",
                           "tok\nX-Injected: 1",
                           std::nullopt,
                           {},
                           0,
                           "Header \"Authorization\" holds a line break or NUL; the request was not sent."},
        unsafe_header_case{"CarriageReturnInTheRenewedToken",
                           "old",
                           std::string("tok\r\nGET / HTTP/1.1"),
                           {},
                           1,
                           "Header \"Authorization\" holds a line break or NUL; the request was not sent."},
        unsafe_header_case{"NulInACallersValue",
                           "old",
                           std::nullopt,
                           {{"X-A", std::string("a\0b", 3)}},
                           0,
                           "Header \"X-A\" holds a line break or NUL; the request was not sent."},
        unsafe_header_case{"LineFeedInACallersName",
                           "old",
                           std::nullopt,
                           {{"X-A\nB", "1"}},
                           0,
                           "A header name holds a line break or NUL; the request was not sent."}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(TenantWithoutClient, FailsBeforeAnyTokenIsRequested)
{
    auto factory = std::make_unique<fake_token_factory>("tok", std::string("new"));
    fake_token_factory* tokens = factory.get();
    tenant t(testing::system_settings(nullptr), std::move(factory));
    recorded_waits waits;
    t.sleep = waits.function();

    const expected<http_response> result = t.execute("GET", "/x", {}, nullptr, 0, false, false);

    ASSERT_FALSE(result.has_value());
    EXPECT_EQ(result.error(), (error{2, 0, "No http client to send request.", {}}));
    EXPECT_EQ(tokens->get_calls(), 0);
    EXPECT_THAT(tokens->refreshed_from(), IsEmpty());
}

TEST(ApiBase, WithoutTenantFailsWithMissingConfiguration)
{
    const api_base api(nullptr);
    const expected<http_response> result = api.call("GET", "/x", {}, nullptr, 0, false, false);

    ASSERT_FALSE(result.has_value());
    EXPECT_EQ(result.error(), (error{2, 0, "API called, but tenant pointer is null.", {}}));
}

TEST(ApiBase, PassesEveryArgumentToTheTenant)
{
    auto client = std::make_shared<scripted_http_client>(
        std::vector<scripted_reply>{{207, "multi", {{"X-R", "1"}}, 0}});
    auto t = std::make_shared<tenant>(testing::system_settings(client),
                                      std::make_unique<fake_token_factory>("tok"));
    recorded_waits waits;
    t->sleep = waits.function();
    const api_base api(t);
    const http::string_body::factory body(std::string("payload"));

    const expected<http_response> result =
        api.call("PATCH", "/a/{businessId}", {{"X-A", "1"}}, &body, -42, true, false);

    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->status, 207u);
    EXPECT_EQ(result->body, "multi");
    EXPECT_EQ(pairs_of(result->headers), (header_pairs{{"X-R", "1"}}));
    const auto sends = client->sends();
    ASSERT_EQ(sends.size(), 1u);
    EXPECT_EQ(sends[0].verb, "PATCH");
    EXPECT_EQ(sends[0].url, "http://127.0.0.1:1/a/b1");
    EXPECT_EQ(pairs_of(sends[0].headers), (header_pairs{{"X-A", "1"}, {"Authorization", "Bearer tok"}}));
    EXPECT_TRUE(sends[0].had_body);
    EXPECT_EQ(sends[0].body, "payload");
    EXPECT_TRUE(sends[0].disable_redirects);
    EXPECT_EQ(sends[0].transport_option, -42);
}

TEST(ApiBase, PassesRetryAnyVerbToTheTenant)
{
    auto client = std::make_shared<scripted_http_client>(
        std::vector<scripted_reply>{{503, "", {}, 0}, {200, "", {}, 0}});
    auto t = std::make_shared<tenant>(testing::system_settings(client));
    recorded_waits waits;
    t->sleep = waits.function();
    const api_base api(t);

    const expected<http_response> result = api.call("POST", "/x", {}, nullptr, 0, false, true);

    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->status, 200u);
    EXPECT_EQ(client->sends().size(), 2u);
    EXPECT_FALSE(client->sends()[0].had_body);
    EXPECT_THAT(waits.waits(), ElementsAre(1u));
}

} // namespace
} // namespace tarsion
