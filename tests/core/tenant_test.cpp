// The tenant's pipeline, observed where it matters: what the HTTP client is
// asked to send (URL, headers, body, attempt by attempt), how long it waits
// between attempts, and what the call returns. Then its parts: Retry-After
// text, the request body, the random source.

#include <algorithm>
#include <array>
#include <atomic>
#include <limits>
#include <map>
#include <mutex>
#include <ranges>
#include <regex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "support/every_text.h"
#include "sdk/core/c_random.h"
#include "sdk/core/detail/retry_after.h"
#include "sdk/core/string_body.h"
#include "sdk/core/tenant.h"
#include "tests/support/pipeline_fakes.h"
#include "tests/support/scripted_http_client.h"

namespace tarsion {
namespace {

using testing::fake_token_factory;
using testing::recorded_send;
using testing::scripted_http_client;
using testing::scripted_reply;

constexpr const char* kBody = "{\"text\":\"a body longer than one read\"}";

scripted_reply reply(std::uint32_t status, std::string body = {}, http::header_list headers = {})
{
    return {status, std::move(body), std::move(headers), 0};
}
scripted_reply transport_failure(std::int32_t number)
{
    return {0, {}, {}, number};
}

std::string summary(const expected<http_response>& result)
{
    if (!result)
        return "E" + std::to_string(result.error().kind) + "/" + std::to_string(result.error().code) + " "
               + result.error().message;
    return std::to_string(result->status) + " " + result->body;
}
struct harness
{
    explicit harness(std::vector<scripted_reply> script, const char* token = "tok",
                     expected<std::string> renewal = std::string("tok"),
                     void (*policy)(tenant_base&) = nullptr)
        : client(std::make_shared<scripted_http_client>(std::move(script)))
    {
        tenant_base settings = testing::system_settings(client);
        if (policy)
            policy(settings);
        std::unique_ptr<fake_token_factory> factory;
        if (token)
            factory = std::make_unique<fake_token_factory>(token, std::move(renewal));
        t = std::make_unique<tenant>(std::move(settings), std::move(factory), logger);
        t->sleep = [this](std::uint32_t seconds) { waits.push_back(seconds); };
    }
    // How many sends, the waits between them, and what the call returned.
    std::string call(std::string verb, const http::header_list& headers = {})
    {
        // A trailing "*": any verb may be retried.
        const bool any_verb = !verb.empty() && verb.back() == '*';
        if (any_verb)
            verb.pop_back();
        const std::string result = summary(t->execute(verb, "/x", headers, &body, 0, false, any_verb));
        std::string out = std::to_string(client->sends().size()) + " sends, waits";
        for (const std::uint32_t w : waits)
            out += " " + std::to_string(w);
        return out + ": " + result;
    }

    std::shared_ptr<scripted_http_client> client;
    std::shared_ptr<testing::recording_logger> logger = std::make_shared<testing::recording_logger>();
    std::unique_ptr<tenant> t;
    std::vector<std::uint32_t> waits;
    const http::string_body::factory body{std::string(kBody)};
};

struct exchange_case
{
    const char* name;
    std::vector<scripted_reply> script;
    std::string outcome;
    // A null token: a tenant without a token factory.
    const char *verb, *token;
    expected<std::string> renewal;
    http::header_list headers;
    // The headers of each send, each after a bar, when the row is about them.
    const char* sent_headers;
};

exchange_case row(const char* name, std::vector<scripted_reply> script, std::string outcome,
                  const char* verb = "GET", const char* token = "tok",
                  expected<std::string> renewal = std::string("tok"), http::header_list headers = {},
                  const char* sent_headers = nullptr)
{
    return {name,  std::move(script),  std::move(outcome), verb,
            token, std::move(renewal), std::move(headers), sent_headers};
}

class TenantExchange : public ::testing::TestWithParam<exchange_case>
{
};

TEST_P(TenantExchange, SendsWaitsAndReturnsAsTheRowSays)
{
    const exchange_case& c = GetParam();
    harness h(c.script, c.token, c.renewal);
    EXPECT_EQ(h.call(c.verb, c.headers), c.outcome);
    std::string headers;
    for (const recorded_send& s : h.client->sends()) {
        // Every attempt, the re-send after a renewal too, carries the whole body.
        EXPECT_EQ(s.url + " " + s.body, std::string("http://127.0.0.1:1/x ") + kBody);
        headers += "|" + testing::joined(s.headers);
    }
    if (c.sent_headers) {
        EXPECT_EQ(headers, c.sent_headers);
    }
}

exchange_case too_many(const char* name, http::header_list headers, std::string outcome)
{
    return row(name, {reply(429, "slow", std::move(headers)), reply(200, "ok")}, std::move(outcome));
}

INSTANTIATE_TEST_SUITE_P(
    Retries, TenantExchange,
    ::testing::Values(
        row("GetStopsAfterFourSends", {reply(503, "1"), reply(503, "2"), reply(503, "3"), reply(503, "4")},
            "4 sends, waits 1 3 5: 503 4"),
        row("PostIsNotRetried", {reply(503, "busy"), reply(200)}, "1 sends, waits: 503 busy", "POST"),
        row("PostIsRetriedWhenAnyVerbMayBe", {reply(503), reply(502), reply(200, "ok")},
            "3 sends, waits 1 3: 200 ok", "POST*"),
        row("StopsAtTheFirstStatusNotRetried", {reply(500), reply(201, "made"), reply(200)},
            "2 sends, waits 1: 201 made", "DELETE"),
        row("TransportFailureStopsAtOnce", {reply(503), transport_failure(7), reply(200)},
            "2 sends, waits 1: E4/7 "),
        // The longest honoured wait is 60 seconds; anything unusable ends the retries.
        too_many("RetryAfterSixty", {{"Retry-After", "60"}}, "2 sends, waits 60: 200 ok"),
        too_many("RetryAfterZero", {{"Retry-After", "0"}}, "2 sends, waits 0: 200 ok"),
        too_many("RetryAfterSixtyOne", {{"Retry-After", "61"}}, "1 sends, waits: 429 slow"),
        too_many("RetryAfterNegative", {{"Retry-After", "-1"}}, "1 sends, waits: 429 slow"),
        too_many("RetryAfterMostNegative", {{"Retry-After", "-2147483648"}}, "1 sends, waits: 429 slow"),
        too_many("RetryAfterUnparsable", {{"Retry-After", "abc"}}, "1 sends, waits: 429 slow"),
        too_many("RetryAfterEmpty", {{"Retry-After", ""}}, "2 sends, waits 1: 200 ok"),
        too_many("RetryAfterMissing", {{"X-Other", "9"}, {"retry-after", "9"}}, "2 sends, waits 1: 200 ok"),
        too_many("RetryAfterFirstOfTwo", {{"Retry-After", "2"}, {"Retry-After", "abc"}},
                 "2 sends, waits 2: 200 ok"),
        row("RetryAfterOnlyOnA429", {reply(503, "", {{"Retry-After", "30"}}), reply(200)},
            "2 sends, waits 1: 200 "),
        row("RetryAfterOnEveryAttempt",
            {reply(503), reply(429, "", {{"Retry-After", "7"}}), reply(429), reply(200)},
            "4 sends, waits 1 7 5: 200 ")),
    [](const auto& info) { return std::string(info.param.name); });

const std::string kUnsafe = " holds a line break or NUL; the request was not sent.";

INSTANTIATE_TEST_SUITE_P(
    Token, TenantExchange,
    ::testing::Values(
        row("BearerGoesAfterTheCallersHeaders", {reply(200)}, "1 sends, waits: 200 ", "GET", "tok",
            std::string("tok"),
            {{"Content-Type", "text/plain"}, {"Authorization", "x"}, {"authorization", "y"}},
            "|Content-Type: text/plain; authorization: y; Authorization: Bearer tok"),
        row("EmptyTokenSendsNone", {reply(200)}, "1 sends, waits: 200 ", "GET", "", std::string(""),
            {{"Authorization", "stale"}, {"X-A", "1"}}, "|X-A: 1"),
        row("NoFactorySendsNoneAndKeepsA401", {reply(401, "denied"), reply(200)},
            "1 sends, waits: 401 denied", "GET", nullptr, std::string(), {{"Authorization", "x"}}, "|"),
        row("RenewedTokenResendsEvenAPost", {reply(401, "expired"), reply(200, "fine")},
            "2 sends, waits: 200 fine", "POST", "old", std::string("new"), {{"X-A", "1"}},
            "|X-A: 1; Authorization: Bearer old|X-A: 1; Authorization: Bearer new"),
        row("EmptyTokenIsRenewedToo", {reply(401), reply(200)}, "2 sends, waits: 200 ", "GET", "",
            std::string("fresh"), {}, "||Authorization: Bearer fresh"),
        row("RenewalToTheSameTokenKeepsThe401", {reply(401, "no"), reply(200)}, "1 sends, waits: 401 no"),
        row("RenewedAtMostOnce", {reply(401, "first"), reply(401, "second"), reply(200)},
            "2 sends, waits: 401 second", "GET", "old", std::string("new")),
        row("ResendRetriesLikeAnyAttempt", {reply(401), reply(503), reply(200, "ok")},
            "3 sends, waits 1: 200 ok", "GET", "old", std::string("new"), {},
            "|Authorization: Bearer old|Authorization: Bearer new|Authorization: Bearer new"),
        row("TransportFailureOnTheResend", {reply(401), transport_failure(99)}, "2 sends, waits: E4/99 ",
            "POST", "old", std::string("new")),
        // A status error of the renewal is a sign-in problem, not a status of this call.
        row("RenewalStatusError", {reply(401), reply(200)}, "1 sends, waits: E6/418 refused", "GET", "old",
            make_error(5, 418, "refused")),
        // A header that would break the request's framing is never sent; the message never shows the token.
        row("LineFeedInTheToken", {reply(200)}, "0 sends, waits: E4/0 Header \"Authorization\"" + kUnsafe,
            "GET", "tok\nX-Injected: 1"),
        row("LineBreakInTheRenewedToken", {reply(401), reply(200)},
            "1 sends, waits: E4/0 Header \"Authorization\"" + kUnsafe, "GET", "old",
            std::string("x\r\nGET / HTTP/1.1")),
        row("NulInACallersValue", {reply(200)}, "0 sends, waits: E4/0 Header \"X-A\"" + kUnsafe, "GET", "tok",
            std::string("tok"), {{"X-A", std::string("a\0b", 3)}}),
        row("CarriageReturnAloneInACallersValue", {reply(200)},
            "0 sends, waits: E4/0 Header \"X-A\"" + kUnsafe, "GET", "tok", std::string("tok"),
            {{"X-A", "a\rb"}}),
        row("LineFeedInACallersName", {reply(200)}, "0 sends, waits: E4/0 A header name" + kUnsafe, "GET",
            "tok", std::string("tok"), {{"X-A\nB", "1"}})),
    [](const auto& info) { return std::string(info.param.name); });

void own_policy(tenant_base& settings)
{
    settings.retry_delays = {9, 0};
    settings.retry_statuses = {418};
    settings.retry_verbs = {"BREW"};
}

TEST(TenantRetryPolicy, StandardVerbsAndStatusesAreRetriedOthersNot)
{
    const std::pair<std::string, bool> verbs[] = {{"PUT", true},   {"GET", true},     {"TRACE", true},
                                                  {"HEAD", true},  {"OPTIONS", true}, {"DELETE", true},
                                                  {"POST", false}, {"PATCH", false},  {"get", false},
                                                  {"GET ", false}, {"", false}};
    for (const auto& [verb, retried] : verbs)
        EXPECT_EQ(harness({reply(503), reply(200)}).call(verb),
                  retried ? "2 sends, waits 1: 200 " : "1 sends, waits: 503 ")
            << verb;
    const std::pair<std::uint32_t, bool> statuses[] = {
        {403, true},  {429, true},  {500, true},  {502, true},  {503, true},  {0, false},
        {200, false}, {204, false}, {400, false}, {404, false}, {501, false}, {504, false}};
    for (const auto& [status, retried] : statuses)
        EXPECT_EQ(harness({reply(status), reply(200)}).call("GET"),
                  retried ? "2 sends, waits 1: 200 " : "1 sends, waits: " + std::to_string(status) + " ");
    EXPECT_EQ(harness({reply(503), reply(200)}, "tok", std::string("tok"),
                      [](tenant_base& s) { s.retry_delays = {}; })
                  .call("GET*"),
              "1 sends, waits: 503 ");
    EXPECT_EQ(harness({reply(418), reply(418), reply(418), reply(200)}, "tok", std::string("tok"), own_policy)
                  .call("BREW"),
              "3 sends, waits 9 0: 418 ");
    EXPECT_EQ(harness({reply(503), reply(200)}, "tok", std::string("tok"), own_policy).call("BREW"),
              "1 sends, waits: 503 ");
}

TEST(TenantUrl, JoinsTheBaseAndPutsInTheBusinessId)
{
    // Base URL, business id, suffix, path template, URL.
    const std::array<const char*, 5> cases[] = {
        {"https://h/base/", "b1", "", "/api/x", "https://h/base/api/x"},
        {"https://h/base", "b1", "", "/api/x", "https://h/base/api/x"},
        {"https://h/", "b1", "", "//x", "https://h//x"},
        {"", "b1", "", "/api/x", "/api/x"},
        {"https://h/base/", "b1", "", "https://o.example/{businessId}/q", "https://o.example/b1/q"},
        {"https://h", "b1", "eu", "/x/{businessId}/y?b={businessId}", "https://h/x/b1.eu/y?b={businessId}"},
        {"https://h", "", "eu", "/x/{businessId}/y", "https://h/x/y"},
        {"https://h", "", "", "/x/{businessId}", "https://h/x/"},
        {"https://h/", "", "", "{businessId}/x", "https://h/x"},
        {"https://h", "", "", "/x/{businessId}?a=1", "https://h/x/a=1"},
        {"https://h", "b1", "", "/{businessId}/{businessId}/{businessid}",
         "https://h/b1/{businessId}/{businessid}"},
    };
    for (const auto& [base, id, suffix, path, url] : cases) {
        auto client = std::make_shared<scripted_http_client>(std::vector<scripted_reply>{reply(200)});
        tenant_base settings = testing::system_settings(client, base, id);
        settings.business_id_suffix = suffix;
        tenant t(std::move(settings));
        EXPECT_TRUE(t.execute("GET", path, {}, nullptr, 0, false, false).has_value());
        EXPECT_EQ(client->sends().at(0).url, url) << path;
    }
    tenant without_client(testing::system_settings(nullptr));
    EXPECT_EQ(summary(without_client.execute("GET", "/x", {}, nullptr, 0, false, false)),
              "E2/0 No http client to send request.");
}

// Many callers on one tenant, each refused once: every caller gets the
// answer to its own request, and each attempt's three log lines stay together.
TEST(TenantConcurrency, EachCallerGetsItsOwnAnswerAndItsOwnLogLines)
{
    std::mutex lock;
    std::map<std::string, int> attempts;
    harness h({});
    h.client = std::make_shared<scripted_http_client>([&](const recorded_send& s) {
        std::lock_guard guard(lock);
        return ++attempts[s.url] == 1 ? reply(503, "busy") : reply(200, s.url + " " + s.body);
    });
    h.t->http_client = h.client;
    h.t->sleep = [](std::uint32_t) {};
    std::atomic<int> failures = 0;
    std::vector<std::jthread> threads;
    for (int i = 0; i < 180; i += 30) {
        threads.emplace_back([&, i] {
            for (const int call : std::views::iota(i, i + 30)) {
                const http::string_body::factory body("b" + std::to_string(call));
                failures +=
                    summary(h.t->execute("GET", "/c/" + std::to_string(call), {}, &body, 0, false, false))
                    != "200 http://127.0.0.1:1/c/" + std::to_string(call) + " b" + std::to_string(call);
            }
        });
    }
    threads.clear();
    EXPECT_EQ(failures, 0);
    const auto lines = h.logger->lines();
    ASSERT_EQ(lines.size(), 3u * 2 * 180);
    for (std::size_t k = 0; k < lines.size(); k += 3) {
        const std::string url = lines[k].text.substr(4), call = url.substr(url.rfind('/') + 1);
        ASSERT_EQ(lines[k].tag + lines[k + 1].tag + lines[k + 2].tag, "tqc_sdktqc_sdktqc_sdk");
        ASSERT_EQ(lines[k].level + 10 * lines[k + 1].level + 100 * lines[k + 2].level, 10u);
        ASSERT_EQ(lines[k + 1].text, "b" + call) << k;
        ASSERT_TRUE(lines[k + 2].text == "Response: 503 busy"
                    || lines[k + 2].text == "Response: 200 " + url + " b" + call);
    }
}

// parse_retry_after is std::from_chars into 32 bits over the whole text.
TEST(RetryAfterText, IsFromCharsOverTheWholeText)
{
    std::vector<std::string> texts{"2147483647",  "2147483648",  "-2147483648",
                                   "-2147483649", "99999999999", "Wed, 21 Oct 2015 07:28:00 GMT"};
    texts.push_back(std::string("5\0", 2));
    for (std::string& text : tarsion::testing::every_text_over("-0169+ \t.ex", 4))
        texts.push_back(std::move(text));
    for (const std::string& text : texts)
        EXPECT_EQ(detail::parse_retry_after(text), tarsion::testing::from_chars_whole<std::int32_t>(text))
            << '"' << text << '"';
}

TEST(StringBody, EveryBodyReadsTheWholeTextWithinTheCapacityItIsGiven)
{
    const http::string_body::factory factory{std::string("0123456789")};
    const auto body = factory.create_body();
    std::uint64_t length = 0, count = 5;
    EXPECT_TRUE(body->size(length) && length == 10);
    EXPECT_TRUE(body->read(nullptr, 0, count) && count == 0);
    // Bytes remain and there is nowhere to put them: nothing is consumed.
    EXPECT_FALSE(body->read(nullptr, 2, count));
    char buffer[4];
    std::string read;
    while (body->read(buffer, sizeof buffer, count) && count > 0)
        read.append(buffer, count);
    EXPECT_EQ(read, "0123456789");
    http::string_body missing{nullptr};
    EXPECT_TRUE(missing.size(length) && length == 0 && missing.read(buffer, 4, count) && count == 0);
}

TEST(CRandom, DrawsStayInTheClosedRangeAndUuidsHaveTheVersion4Shape)
{
    constexpr std::int32_t kMin = std::numeric_limits<std::int32_t>::min();
    constexpr std::int32_t kMax = std::numeric_limits<std::int32_t>::max();
    // Pairs of bounds, in either order.
    const std::int32_t bounds[] = {0,   15,       15,   0,    5,        5,    -3,   3,    -10,
                                   -20, kMax - 1, kMax, kMin, kMin + 1, kMin, kMax, kMax, kMin};
    random::c_random source;
    for (std::size_t i = 0; i < std::size(bounds); i += 2) {
        const auto [low, high] = std::minmax(bounds[i], bounds[i + 1]);
        for (int draw = 0; draw < 2000; ++draw) {
            const std::int32_t v = source.next(bounds[i], bounds[i + 1]);
            ASSERT_TRUE(v >= low && v <= high) << v << " from " << low << ".." << high;
        }
    }
    std::set<std::string> ids;
    std::set<char> digits;
    for (int i = 0; i < 2000; ++i) {
        const std::string id = *ids.insert(source.uuid()).first;
        digits.insert(id.begin(), id.end());
        ASSERT_TRUE(std::regex_match(
            id, std::regex("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}")));
    }
    EXPECT_EQ(ids.size(), 2000u);
    // Among 2000, every hexadecimal digit and the dash.
    EXPECT_EQ(digits.size(), 17u);
}

} // namespace
} // namespace tarsion
