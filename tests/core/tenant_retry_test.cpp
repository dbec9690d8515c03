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
using ::testing::IsEmpty;
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
    void make_tenant(std::vector<scripted_reply> script)
    {
        client = std::make_shared<scripted_http_client>(std::move(script));
        t = std::make_unique<tenant>(adjust(testing::system_settings(client)),
                                     std::make_unique<fake_token_factory>("tok"), logger);
        t->sleep = waits.function();
    }

    expected<http_response> send(const std::string& verb, bool retry_any_verb = false)
    {
        return t->execute(verb, "/x", {}, &body, 0, false, retry_any_verb);
    }

    // Lets a test change the policy before the tenant is made.
    virtual tenant_base adjust(tenant_base settings) { return settings; }

    std::shared_ptr<scripted_http_client> client;
    std::shared_ptr<recording_logger> logger;
    std::unique_ptr<tenant> t;
    recorded_waits waits;
    const http::string_body::factory body{std::string("{\"text\":\"a body longer than a read\"}")};
};

// ---- verbs and statuses -------------------------------------------------

TEST_F(TenantRetry, PostIsNotRetried)
{
    make_tenant({reply(503, "busy"), reply(200)});
    const expected<http_response> result = send("POST");

    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->status, 503u);
    EXPECT_EQ(result->body, "busy");
    EXPECT_EQ(client->sends().size(), 1u);
    EXPECT_THAT(waits.waits(), IsEmpty());
}

TEST_F(TenantRetry, PostIsRetriedWhenAnyVerbMayBe)
{
    make_tenant({reply(503), reply(503), reply(503), reply(503), reply(200)});
    const expected<http_response> result = send("POST", true);

    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->status, 503u);
    EXPECT_EQ(client->sends().size(), 4u);
    EXPECT_THAT(waits.waits(), ElementsAre(1u, 3u, 5u));
}

TEST_F(TenantRetry, GetIsSentFourTimesAndTheLastStatusReturned)
{
    make_tenant({reply(503, "1"), reply(503, "2"), reply(503, "3"), reply(503, "4"), reply(200)});
    const expected<http_response> result = send("GET");

    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->status, 503u);
    EXPECT_EQ(result->body, "4");
    EXPECT_EQ(client->sends().size(), 4u);
    EXPECT_THAT(waits.waits(), ElementsAre(1u, 3u, 5u));
}

TEST_F(TenantRetry, RetryingStopsAtTheFirstStatusThatIsNotRetryable)
{
    make_tenant({reply(500), reply(502), reply(201, "made"), reply(200)});
    const expected<http_response> result = send("DELETE");

    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->status, 201u);
    EXPECT_EQ(result->body, "made");
    EXPECT_EQ(client->sends().size(), 3u);
    EXPECT_THAT(waits.waits(), ElementsAre(1u, 3u));
}

TEST_F(TenantRetry, ResponseOfAnEarlierAttemptDoesNotLeakIntoALaterOne)
{
    make_tenant({reply(503, "busy", {{"X-Old", "1"}}), reply(200, "", {})});
    const expected<http_response> result = send("GET");

    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->status, 200u);
    EXPECT_EQ(result->body, "");
    EXPECT_TRUE(result->headers.empty());
}

struct verb_case
{
    const char* verb;
    bool retried;
};

class TenantRetryVerb : public TenantRetry, public ::testing::WithParamInterface<verb_case>
{
};

TEST_P(TenantRetryVerb, FollowsTheVerbList)
{
    const verb_case& c = GetParam();
    make_tenant({reply(503), reply(200)});
    const expected<http_response> result = send(c.verb);

    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->status, c.retried ? 200u : 503u);
    EXPECT_EQ(client->sends().size(), c.retried ? 2u : 1u);
    EXPECT_EQ(client->sends().at(0).verb, c.verb);
}

INSTANTIATE_TEST_SUITE_P(
    Verbs, TenantRetryVerb,
    ::testing::Values(verb_case{"PUT", true}, verb_case{"GET", true}, verb_case{"TRACE", true},
                      verb_case{"HEAD", true}, verb_case{"OPTIONS", true},
                      verb_case{"DELETE", true}, verb_case{"POST", false},
                      verb_case{"PATCH", false}, verb_case{"get", false},
                      verb_case{"GET ", false}, verb_case{"", false}),
    [](const auto& info) {
        std::string name = info.param.verb;
        for (char& ch : name)
            if (ch == ' ')
                ch = '_';
        return "Verb_" + name + (info.param.retried ? "_Retried" : "_NotRetried");
    });

struct status_case
{
    std::uint32_t status;
    bool retried;
};

class TenantRetryStatus : public TenantRetry, public ::testing::WithParamInterface<status_case>
{
};

TEST_P(TenantRetryStatus, FollowsTheStatusList)
{
    const status_case& c = GetParam();
    make_tenant({reply(c.status), reply(200)});
    const expected<http_response> result = send("GET");

    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->status, c.retried ? 200u : c.status);
    EXPECT_EQ(client->sends().size(), c.retried ? 2u : 1u);
    if (c.retried)
        EXPECT_THAT(waits.waits(), ElementsAre(1u));
    else
        EXPECT_THAT(waits.waits(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Statuses, TenantRetryStatus,
    ::testing::Values(status_case{403, true}, status_case{429, true}, status_case{500, true},
                      status_case{502, true}, status_case{503, true}, status_case{404, false},
                      status_case{400, false}, status_case{501, false},
                      status_case{504, false}, status_case{200, false}, status_case{204, false},
                      status_case{0, false}),
    [](const auto& info) {
        return "Status" + std::to_string(info.param.status)
            + (info.param.retried ? "_Retried" : "_NotRetried");
    });

// ---- transport failures -------------------------------------------------

TEST_F(TenantRetry, TransportFailureOnTheFirstAttemptStopsAtOnce)
{
    make_tenant({transport_failure(7), reply(200)});
    const expected<http_response> result = send("GET");

    ASSERT_FALSE(result.has_value());
    EXPECT_EQ(result.error(), (error{4, 7, "", {}}));
    EXPECT_EQ(client->sends().size(), 1u);
    EXPECT_THAT(waits.waits(), IsEmpty());
}

TEST_F(TenantRetry, TransportFailureOnALaterAttemptStopsAtOnce)
{
    make_tenant({reply(503), reply(502), transport_failure(3), reply(200)});
    const expected<http_response> result = send("GET");

    ASSERT_FALSE(result.has_value());
    EXPECT_EQ(result.error(), (error{4, 3, "", {}}));
    EXPECT_EQ(client->sends().size(), 3u);
    EXPECT_THAT(waits.waits(), ElementsAre(1u, 3u));
}

// ---- Retry-After on 429 -------------------------------------------------

struct retry_after_case
{
    const char* name;
    http::header_list headers;
    // The wait before the second send; none when the 429 ends the call.
    std::optional<std::uint32_t> wait;
};

class TenantRetryAfter : public TenantRetry,
                         public ::testing::WithParamInterface<retry_after_case>
{
};

TEST_P(TenantRetryAfter, DecidesTheWaitOrEndsTheRetries)
{
    const retry_after_case& c = GetParam();
    make_tenant({reply(429, "slow down", c.headers), reply(200, "ok")});
    const expected<http_response> result = send("GET");

    ASSERT_TRUE(result.has_value());
    if (c.wait) {
        EXPECT_EQ(result->status, 200u);
        EXPECT_EQ(client->sends().size(), 2u);
        EXPECT_THAT(waits.waits(), ElementsAre(*c.wait));
    } else {
        EXPECT_EQ(result->status, 429u);
        EXPECT_EQ(result->body, "slow down");
        EXPECT_EQ(client->sends().size(), 1u);
        EXPECT_THAT(waits.waits(), IsEmpty());
    }
}

INSTANTIATE_TEST_SUITE_P(
    Values, TenantRetryAfter,
    ::testing::Values(
        retry_after_case{"Sixty", {{"Retry-After", "60"}}, 60},
        retry_after_case{"Two", {{"Retry-After", "2"}}, 2},
        retry_after_case{"Zero", {{"Retry-After", "0"}}, 0},
        retry_after_case{"MinusZero", {{"Retry-After", "-0"}}, 0},
        retry_after_case{"LeadingZeros", {{"Retry-After", "007"}}, 7},
        retry_after_case{"SixtyOne", {{"Retry-After", "61"}}, std::nullopt},
        retry_after_case{"MinusOne", {{"Retry-After", "-1"}}, std::nullopt},
        retry_after_case{"Fraction", {{"Retry-After", "1.5"}}, std::nullopt},
        retry_after_case{"LeadingBlank", {{"Retry-After", " 5"}}, std::nullopt},
        retry_after_case{"TrailingBlank", {{"Retry-After", "5 "}}, std::nullopt},
        retry_after_case{"PlusSign", {{"Retry-After", "+5"}}, std::nullopt},
        retry_after_case{"MinusAlone", {{"Retry-After", "-"}}, std::nullopt},
        retry_after_case{"HttpDate", {{"Retry-After", "Wed, 21 Oct 2015 07:28:00 GMT"}},
                         std::nullopt},
        retry_after_case{"Letters", {{"Retry-After", "abc"}}, std::nullopt},
        retry_after_case{"Overflow", {{"Retry-After", "99999999999"}}, std::nullopt},
        retry_after_case{"JustOverInt32", {{"Retry-After", "2147483648"}}, std::nullopt},
        retry_after_case{"Int32Max", {{"Retry-After", "2147483647"}}, std::nullopt},
        retry_after_case{"Int32Min", {{"Retry-After", "-2147483648"}}, std::nullopt},
        retry_after_case{"EmptyUsesTheTable", {{"Retry-After", ""}}, 1},
        retry_after_case{"MissingUsesTheTable", {{"X-Other", "9"}}, 1},
        retry_after_case{"LowerCaseNameIgnored", {{"retry-after", "9"}}, 1},
        retry_after_case{"UpperCaseNameIgnored", {{"RETRY-AFTER", "abc"}}, 1},
        retry_after_case{"FirstOfTwoCounts", {{"Retry-After", "2"}, {"Retry-After", "abc"}}, 2},
        retry_after_case{"FirstOfTwoEndsTheRetries",
                         {{"Retry-After", "abc"}, {"Retry-After", "2"}},
                         std::nullopt},
        retry_after_case{"ExactNameFoundAmongOthers",
                         {{"retry-after", "abc"}, {"Content-Type", "text/plain"},
                          {"Retry-After", "4"}},
                         4}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(TenantRetry, RetryAfterCountsOnlyForA429)
{
    make_tenant({reply(503, "", {{"Retry-After", "30"}}), reply(503, "", {{"Retry-After", "abc"}}),
                 reply(200)});
    const expected<http_response> result = send("GET");

    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->status, 200u);
    EXPECT_THAT(waits.waits(), ElementsAre(1u, 3u));
}

TEST_F(TenantRetry, RetryAfterIsReadOnEveryAttempt)
{
    make_tenant({reply(503), reply(429, "", {{"Retry-After", "7"}}), reply(429), reply(200)});
    const expected<http_response> result = send("GET");

    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->status, 200u);
    EXPECT_EQ(client->sends().size(), 4u);
    EXPECT_THAT(waits.waits(), ElementsAre(1u, 7u, 5u));
}

TEST_F(TenantRetry, RetryAfterDoesNotAddAttempts)
{
    const http::header_list sixty{{"Retry-After", "60"}};
    make_tenant({reply(429, "", sixty), reply(429, "", sixty), reply(429, "", sixty),
                 reply(429, "last", sixty), reply(200)});
    const expected<http_response> result = send("GET");

    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->status, 429u);
    EXPECT_EQ(result->body, "last");
    EXPECT_EQ(client->sends().size(), 4u);
    EXPECT_THAT(waits.waits(), ElementsAre(60u, 60u, 60u));
}

TEST_F(TenantRetry, UnusableRetryAfterOnALaterAttemptReturnsThat429)
{
    make_tenant({reply(500), reply(429, "late", {{"Retry-After", "61"}}), reply(200)});
    const expected<http_response> result = send("GET");

    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->status, 429u);
    EXPECT_EQ(result->body, "late");
    EXPECT_EQ(client->sends().size(), 2u);
    EXPECT_THAT(waits.waits(), ElementsAre(1u));
}

// ---- other policies -----------------------------------------------------

class TenantWithoutRetries : public TenantRetry
{
protected:
    tenant_base adjust(tenant_base settings) override
    {
        settings.retry_delays.clear();
        return settings;
    }
};

TEST_F(TenantWithoutRetries, SendsOnce)
{
    make_tenant({reply(503), reply(200)});
    const expected<http_response> result = send("GET", true);

    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->status, 503u);
    EXPECT_EQ(client->sends().size(), 1u);
    EXPECT_THAT(waits.waits(), IsEmpty());
}

class TenantWithOwnDelays : public TenantRetry
{
protected:
    tenant_base adjust(tenant_base settings) override
    {
        settings.retry_delays = {9, 0};
        settings.retry_statuses = {418};
        settings.retry_verbs = {"BREW"};
        return settings;
    }
};

TEST_F(TenantWithOwnDelays, OneRetryPerDelayOfItsOwnPolicy)
{
    make_tenant({reply(418), reply(418), reply(418), reply(200)});
    const expected<http_response> result = send("BREW");

    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->status, 418u);
    EXPECT_EQ(client->sends().size(), 3u);
    EXPECT_THAT(waits.waits(), ElementsAre(9u, 0u));
}

TEST_F(TenantWithOwnDelays, TheSystemsStatusesMeanNothingHere)
{
    make_tenant({reply(503), reply(200)});
    const expected<http_response> result = send("BREW");

    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->status, 503u);
    EXPECT_EQ(client->sends().size(), 1u);
}

// ---- bodies -------------------------------------------------------------

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

TEST_F(TenantRetry, NoBodyFactoryMeansNoBody)
{
    make_tenant({reply(503), reply(200)});
    ASSERT_TRUE(t->execute("GET", "/x", {}, nullptr, 0, false, false).has_value());

    const auto sends = client->sends();
    ASSERT_EQ(sends.size(), 2u);
    EXPECT_FALSE(sends[0].had_body);
    EXPECT_FALSE(sends[1].had_body);
}

TEST_F(TenantRetry, FlagsReachEveryAttempt)
{
    make_tenant({reply(503), reply(200)});
    ASSERT_TRUE(t->execute("GET", "/x", {}, &body, 12345, true, false).has_value());

    const auto sends = client->sends();
    ASSERT_EQ(sends.size(), 2u);
    for (const auto& s : sends) {
        EXPECT_TRUE(s.disable_redirects);
        EXPECT_EQ(s.transport_option, 12345);
        EXPECT_EQ(s.url, "http://127.0.0.1:1/x");
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
                            log_line{1, "tqc_sdk", body_text},
                            log_line{0, "tqc_sdk", "Response: 503 busy"},
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
    client = std::make_shared<scripted_http_client>(
        std::vector<scripted_reply>{reply(401, "no"), reply(200, "yes")});
    t = std::make_unique<tenant>(testing::system_settings(client),
                                 std::make_unique<fake_token_factory>("old", std::string("new")),
                                 logger);
    t->sleep = waits.function();
    ASSERT_TRUE(t->execute("POST", "/p/{businessId}", {}, &body, 0, false, false).has_value());

    const auto lines = logger->lines();
    ASSERT_EQ(lines.size(), 6u);
    EXPECT_EQ(lines[0].text, "POST http://127.0.0.1:1/p/b1");
    EXPECT_EQ(lines[2].text, "Response: 401 no");
    EXPECT_EQ(lines[3].text, "POST http://127.0.0.1:1/p/b1");
    EXPECT_EQ(lines[5].text, "Response: 200 yes");
}

TEST_F(TenantRetry, WithoutLoggerTheExchangeStillWorks)
{
    make_tenant({reply(503, "busy"), transport_failure(5)});
    ASSERT_EQ(t->logger, nullptr);

    const expected<http_response> result = send("GET");
    ASSERT_FALSE(result.has_value());
    EXPECT_EQ(result.error().code, 5u);
    EXPECT_EQ(client->sends().size(), 2u);
}

TEST(TenantDefaults, TagIsFixedAndNoLoggerIsInstalled)
{
    tenant t(testing::system_settings(nullptr));
    EXPECT_EQ(t.sdk_tag, "tqc_sdk");
    EXPECT_EQ(t.logger, nullptr);
    EXPECT_EQ(t.token_factory, nullptr);
    EXPECT_TRUE(static_cast<bool>(t.sleep));
}

} // namespace
} // namespace tarsion
