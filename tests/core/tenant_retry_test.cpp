#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "sdk/core/string_body.h"
#include "sdk/core/tenant.h"
#include "tests/support/pipeline_fakes.h"
#include "tests/support/scripted_http_client.h"

namespace tarsion {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using testing::fake_token_factory;
using testing::log_line;
using testing::recorded_waits;
using testing::recording_logger;
using testing::scripted_http_client;
using testing::scripted_reply;

scripted_reply reply(std::uint32_t status, std::string body = {}, http::header_list headers = {})
{
    return {status, std::move(body), std::move(headers), 0};
}

scripted_reply transport_failure(std::int32_t number)
{
    return {0, {}, {}, number};
}

class TenantRetry : public ::testing::Test
{
protected:
    void make_tenant(std::vector<scripted_reply> script, void (*policy)(tenant_base&) = nullptr,
                     std::unique_ptr<fake_token_factory> tokens = std::make_unique<fake_token_factory>("tok"))
    {
        client = std::make_shared<scripted_http_client>(std::move(script));
        tenant_base settings = testing::system_settings(client);
        if (policy)
            policy(settings);
        t = std::make_unique<tenant>(std::move(settings), std::move(tokens), logger);
        t->sleep = waits.function();
    }

    expected<http_response> send(const std::string& verb, bool retry_any_verb = false)
    {
        return t->execute(verb, "/x", {}, &body, 0, false, retry_any_verb);
    }

    std::shared_ptr<scripted_http_client> client;
    std::shared_ptr<recording_logger> logger;
    std::unique_ptr<tenant> t;
    recorded_waits waits;
    const http::string_body::factory body{std::string("{\"text\":\"a body longer than a read\"}")};
};

// ---- when to send again, and how long to wait before -----------------------

// Whatever the script, the call returns exactly what its last attempt got: the
// reply of that attempt, or its transport failure.
struct retry_case
{
    const char* name;
    std::vector<scripted_reply> script;
    std::size_t sends;
    std::vector<std::uint32_t> waits;
    const char* verb = "GET";
    bool retry_any_verb = false;
    void (*policy)(tenant_base&) = nullptr;
};

void no_retries(tenant_base& settings)
{
    settings.retry_delays.clear();
}

// A policy that shares nothing with the system's.
void own_policy(tenant_base& settings)
{
    settings.retry_delays = {9, 0};
    settings.retry_statuses = {418};
    settings.retry_verbs = {"BREW"};
}

class TenantRetryDecision : public TenantRetry, public ::testing::WithParamInterface<retry_case>
{
};

TEST_P(TenantRetryDecision, SendsAgainOnlyWhenThePolicySaysSo)
{
    const retry_case& c = GetParam();
    make_tenant(c.script, c.policy);
    const expected<http_response> result = send(c.verb, c.retry_any_verb);

    const auto sends = client->sends();
    ASSERT_EQ(sends.size(), c.sends);
    EXPECT_THAT(waits.waits(), ElementsAreArray(c.waits));
    for (const auto& s : sends) {
        EXPECT_EQ(s.verb, c.verb);
        EXPECT_EQ(s.url, "http://127.0.0.1:1/x");
    }
    const scripted_reply& last = c.script.at(c.sends - 1);
    if (last.transport != 0) {
        ASSERT_FALSE(result.has_value());
        EXPECT_EQ(result.error(), (error{4, static_cast<std::uint32_t>(last.transport), "", {}}));
        return;
    }
    ASSERT_TRUE(result.has_value()) << result.error().kind;
    EXPECT_EQ(result->status, last.status);
    EXPECT_EQ(result->body, last.body);
    EXPECT_EQ(result->headers, last.headers);
}

// One 503 then success, for the verb list.
retry_case verb(const char* name, const char* verb, bool retried)
{
    return {name,
            {reply(503), reply(200)},
            retried ? 2u : 1u,
            retried ? std::vector<std::uint32_t>{1} : std::vector<std::uint32_t>{},
            verb};
}

// One status then success, for the status list.
retry_case status(const char* name, std::uint32_t status, bool retried)
{
    return {name,
            {reply(status), reply(200)},
            retried ? 2u : 1u,
            retried ? std::vector<std::uint32_t>{1} : std::vector<std::uint32_t>{}};
}

// A 429 with these headers, then success: the header either sets the one
// wait or ends the retries at once.
retry_case too_many(const char* name, http::header_list headers, std::optional<std::uint32_t> wait)
{
    return {name,
            {reply(429, "slow down", std::move(headers)), reply(200, "ok")},
            wait ? 2u : 1u,
            wait ? std::vector<std::uint32_t>{*wait} : std::vector<std::uint32_t>{}};
}

const http::header_list kSixty{{"Retry-After", "60"}};

INSTANTIATE_TEST_SUITE_P(
    Attempts, TenantRetryDecision,
    ::testing::Values(
        retry_case{"GetStopsAfterFourSends",
                   {reply(503, "1"), reply(503, "2"), reply(503, "3"), reply(503, "4"), reply(200)},
                   4,
                   {1, 3, 5}},
        retry_case{"PostIsNotRetried", {reply(503, "busy"), reply(200)}, 1, {}, "POST"},
        retry_case{"PostIsRetriedWhenAnyVerbMayBe",
                   {reply(503), reply(503), reply(503), reply(503), reply(200)},
                   4,
                   {1, 3, 5},
                   "POST",
                   true},
        retry_case{"StopsAtTheFirstStatusThatIsNotRetryable",
                   {reply(500), reply(502), reply(201, "made"), reply(200)},
                   3,
                   {1, 3},
                   "DELETE"},
        retry_case{"EarlierResponseDoesNotLeakIntoALaterOne",
                   {reply(503, "busy", {{"X-Old", "1"}}), reply(200)},
                   2,
                   {1}},
        retry_case{"TransportFailureFirstStopsAtOnce", {transport_failure(7), reply(200)}, 1, {}},
        retry_case{"TransportFailureLaterStopsAtOnce",
                   {reply(503), reply(502), transport_failure(3), reply(200)},
                   3,
                   {1, 3}},
        retry_case{"NoDelaysMeansOneSend", {reply(503), reply(200)}, 1, {}, "GET", true, no_retries},
        retry_case{"OwnPolicyOneRetryPerDelay",
                   {reply(418), reply(418), reply(418), reply(200)},
                   3,
                   {9, 0},
                   "BREW",
                   false,
                   own_policy},
        retry_case{"OwnPolicyIgnoresTheSystemsStatuses",
                   {reply(503), reply(200)},
                   1,
                   {},
                   "BREW",
                   false,
                   own_policy}),
    [](const auto& info) { return std::string(info.param.name); });

INSTANTIATE_TEST_SUITE_P(Verbs, TenantRetryDecision,
                         ::testing::Values(verb("Put", "PUT", true), verb("Get", "GET", true),
                                           verb("Trace", "TRACE", true), verb("Head", "HEAD", true),
                                           verb("Options", "OPTIONS", true), verb("Delete", "DELETE", true),
                                           verb("Post", "POST", false), verb("Patch", "PATCH", false),
                                           verb("LowerCaseGet", "get", false),
                                           verb("GetWithBlank", "GET ", false), verb("Empty", "", false)),
                         [](const auto& info) { return std::string(info.param.name); });

INSTANTIATE_TEST_SUITE_P(Statuses, TenantRetryDecision,
                         ::testing::Values(status("Retried403", 403, true), status("Retried429", 429, true),
                                           status("Retried500", 500, true), status("Retried502", 502, true),
                                           status("Retried503", 503, true), status("Kept404", 404, false),
                                           status("Kept400", 400, false), status("Kept501", 501, false),
                                           status("Kept504", 504, false), status("Kept200", 200, false),
                                           status("Kept204", 204, false), status("Kept0", 0, false)),
                         [](const auto& info) { return std::string(info.param.name); });

// How the header text is parsed is retry_after_test's business; these are the
// tenant's decisions on top of it.
INSTANTIATE_TEST_SUITE_P(
    RetryAfter, TenantRetryDecision,
    ::testing::Values(
        too_many("LongestHonouredWait", kSixty, 60), too_many("ZeroWait", {{"Retry-After", "0"}}, 0),
        too_many("OneOverTheLongestEnds", {{"Retry-After", "61"}}, std::nullopt),
        too_many("NegativeEnds", {{"Retry-After", "-1"}}, std::nullopt),
        too_many("HugeNegativeEnds", {{"Retry-After", "-2147483648"}}, std::nullopt),
        too_many("UnparsableEnds", {{"Retry-After", "abc"}}, std::nullopt),
        too_many("EmptyUsesTheTable", {{"Retry-After", ""}}, 1),
        too_many("MissingUsesTheTable", {{"X-Other", "9"}}, 1),
        too_many("OtherSpellingIgnored", {{"retry-after", "9"}, {"RETRY-AFTER", "abc"}}, 1),
        too_many("FirstOfTwoCounts", {{"Retry-After", "2"}, {"Retry-After", "abc"}}, 2),
        too_many("FirstOfTwoEnds", {{"Retry-After", "abc"}, {"Retry-After", "2"}}, std::nullopt),
        too_many("ExactNameFoundAmongOthers",
                 {{"retry-after", "abc"}, {"Content-Type", "text/plain"}, {"Retry-After", "4"}}, 4),
        retry_case{
            "OnlyA429ReadsTheHeader",
            {reply(503, "", {{"Retry-After", "30"}}), reply(503, "", {{"Retry-After", "abc"}}), reply(200)},
            3,
            {1, 3}},
        retry_case{"ReadOnEveryAttempt",
                   {reply(503), reply(429, "", {{"Retry-After", "7"}}), reply(429), reply(200)},
                   4,
                   {1, 7, 5}},
        retry_case{"AddsNoAttempts",
                   {reply(429, "", kSixty), reply(429, "", kSixty), reply(429, "", kSixty),
                    reply(429, "last", kSixty), reply(200)},
                   4,
                   {60, 60, 60}},
        retry_case{"UnusableOnALaterAttemptReturnsThat429",
                   {reply(500), reply(429, "late", {{"Retry-After", "61"}}), reply(200)},
                   2,
                   {1}}),
    [](const auto& info) { return std::string(info.param.name); });

// ---- what every attempt carries ---------------------------------------------

// Counts the bodies it makes, to show that no attempt reuses one.
class counting_factory : public http::http_base::body_factory
{
public:
    explicit counting_factory(std::string text) : inner_(std::move(text)) {}

    std::unique_ptr<http::http_base::body> create_body() const override
    {
        ++made;
        return inner_.create_body();
    }

    void log_body(logger& log, std::uint32_t level, const std::string& tag) const override
    {
        inner_.log_body(log, level, tag);
    }

    mutable std::atomic<int> made{0};

private:
    http::string_body::factory inner_;
};

TEST_F(TenantRetry, EveryAttemptReadsAFreshBodyWithTheWholeText)
{
    const std::string text = "{\"text\":\"" + std::string(100, 'z') + "\"}";
    const counting_factory factory(text);
    make_tenant({reply(503), reply(500), reply(429), reply(502)});

    ASSERT_TRUE(t->execute("PUT", "/x", {}, &factory, 0, false, false).has_value());

    const auto sends = client->sends();
    ASSERT_EQ(sends.size(), 4u);
    EXPECT_EQ(factory.made.load(), 4);
    for (const auto& s : sends) {
        EXPECT_TRUE(s.had_body);
        EXPECT_EQ(s.body, text);
    }
}

// A transport that adds to the response it is handed instead of replacing
// it. Nothing in the interface forbids that, so the tenant hands every
// attempt a fresh response: a retried reply must not carry the status,
// body or headers of the attempt before it.
class appending_client : public http::http_base
{
public:
    std::int32_t send(const std::string&, const std::string&, const http::header_list&, body*, bool,
                      std::int64_t, http_response& response) override
    {
        ++attempts;
        response.status = attempts == 1 ? 503 : 200;
        response.body += "attempt " + std::to_string(attempts);
        response.headers.append("X-Attempt", std::to_string(attempts));
        return 0;
    }

    int attempts = 0;
};

TEST(TenantAttempts, EveryAttemptStartsFromAnEmptyResponse)
{
    const auto client = std::make_shared<appending_client>();
    tenant t(testing::system_settings(client), std::make_unique<fake_token_factory>("tok"), nullptr);
    recorded_waits waits;
    t.sleep = waits.function();

    const auto result = t.execute("GET", "/x", {}, nullptr, 0, false, false);

    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(client->attempts, 2);
    EXPECT_EQ(result->status, 200u);
    EXPECT_EQ(result->body, "attempt 2");
    const std::vector<http::header> headers(result->headers.begin(), result->headers.end());
    EXPECT_THAT(headers, ElementsAre(http::header{"X-Attempt", "2"}));
}

TEST_F(TenantRetry, FlagsAndAbsentBodyReachEveryAttempt)
{
    make_tenant({reply(503), reply(200)});
    ASSERT_TRUE(t->execute("GET", "/x", {}, nullptr, 12345, true, false).has_value());

    const auto sends = client->sends();
    ASSERT_EQ(sends.size(), 2u);
    for (const auto& s : sends) {
        EXPECT_FALSE(s.had_body);
        EXPECT_TRUE(s.disable_redirects);
        EXPECT_EQ(s.transport_option, 12345);
        EXPECT_EQ(s.headers.find("Authorization")->second, "Bearer tok");
    }
}

// ---- exchange log -------------------------------------------------------

class TenantExchangeLog : public TenantRetry
{
protected:
    TenantExchangeLog() { logger = std::make_shared<recording_logger>(); }
};

TEST_F(TenantExchangeLog, ThreeLinesPerAttemptInOrder)
{
    make_tenant({reply(503, "busy"), reply(200, "[1,2]")});
    ASSERT_TRUE(send("GET").has_value());

    const std::string body_text = "{\"text\":\"a body longer than a read\"}";
    EXPECT_THAT(logger->lines(),
                ElementsAre(log_line{0, "tqc_sdk", "GET http://127.0.0.1:1/x"},
                            log_line{1, "tqc_sdk", body_text}, log_line{0, "tqc_sdk", "Response: 503 busy"},
                            log_line{0, "tqc_sdk", "GET http://127.0.0.1:1/x"},
                            log_line{1, "tqc_sdk", body_text},
                            log_line{0, "tqc_sdk", "Response: 200 [1,2]"}));
}

TEST_F(TenantExchangeLog, FailureLineCarriesTheTransportNumber)
{
    make_tenant({reply(502, ""), transport_failure(42)});
    ASSERT_FALSE(send("GET").has_value());

    const auto lines = logger->lines();
    ASSERT_EQ(lines.size(), 6u);
    EXPECT_EQ(lines[2], (log_line{0, "tqc_sdk", "Response: 502 "}));
    EXPECT_EQ(lines[5], (log_line{0, "tqc_sdk", "Failure: 42"}));
}

TEST_F(TenantExchangeLog, RenewedAttemptIsLoggedToo)
{
    make_tenant({reply(401, "no"), reply(200, "yes")}, nullptr,
                std::make_unique<fake_token_factory>("old", std::string("new")));
    ASSERT_TRUE(t->execute("POST", "/p/{businessId}", {}, &body, 0, false, false).has_value());

    const auto lines = logger->lines();
    ASSERT_EQ(lines.size(), 6u);
    EXPECT_EQ(lines[0].text, "POST http://127.0.0.1:1/p/b1");
    EXPECT_EQ(lines[2].text, "Response: 401 no");
    EXPECT_EQ(lines[3].text, "POST http://127.0.0.1:1/p/b1");
    EXPECT_EQ(lines[5].text, "Response: 200 yes");
}

// Every other test replaces the sleep; a tenant left as made must still have
// one, and must not log anywhere.
TEST(TenantDefaults, SleepsForRealAndLogsNowhere)
{
    tenant t(testing::system_settings(nullptr));
    EXPECT_EQ(t.logger, nullptr);
    EXPECT_EQ(t.token_factory, nullptr);
    EXPECT_TRUE(static_cast<bool>(t.sleep));
}

} // namespace
} // namespace tarsion
