#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "sdk/api/BusinessEntitiesQueryApi.h"
#include "sdk/core/tenant.h"
#include "tests/support/pipeline_fakes.h"
#include "tests/support/scripted_http_client.h"

namespace tarsion::quorvel::api {
namespace {

using tarsion::testing::fake_token_factory;
using tarsion::testing::recorded_send;
using tarsion::testing::recorded_waits;
using tarsion::testing::scripted_http_client;
using tarsion::testing::scripted_reply;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

using header_pairs = std::vector<http::header>;
using entities = std::vector<dto::EntityDto>;

header_pairs pairs_of(const http::header_list& headers)
{
    return header_pairs(headers.begin(), headers.end());
}

constexpr const char* kQueryPath = "http://127.0.0.1:1/api/business/quorvel/b1/v0/entities/query/vector";

// The query with which the chat layer looks for the duty channel.
dto::BusinessEntitiesQueryDto duty_channel_query()
{
    const std::vector<std::string> locales{"EN_US"};
    dto::AttributeValueQueryFilterDto filter;
    filter.attributeKey = "IS_DEFAULT_CHANNEL";
    filter.operator_ = "Equals";
    filter.value = "TRUE";
    filter.ignoreCase = true;
    filter.locales = locales;

    dto::EntitiesOptionsDto options;
    options.includeAttributeValuesByAttributeKeys = std::vector<std::string>{"TICKET_TITLE"};
    options.includeLocales = locales;
    options.includeReferences = true;
    options.includeEntityState = true;

    dto::BusinessEntitiesQueryDto query;
    query.entitiesByEntityTypeKeys = std::vector<std::string>{"BUSINESS_TICKET"};
    query.entitiesByEntityTypesWithInheritance = false;
    query.entitiesByAttributeValues = std::vector<dto::AttributeValueQueryFilterDto>{filter};
    query.entitiesOptions = options;
    return query;
}

// Members in declaration order, whatever order they were set in.
constexpr const char* kDutyChannelJson =
    "{\"entitiesByEntityTypesWithInheritance\":false,"
    "\"entitiesByAttributeValues\":[{\"attributeKey\":\"IS_DEFAULT_CHANNEL\","
    "\"operator\":\"Equals\",\"value\":\"TRUE\",\"ignoreCase\":true,\"locales\":[\"EN_US\"]}],"
    "\"entitiesByEntityTypeKeys\":[\"BUSINESS_TICKET\"],"
    "\"entitiesOptions\":{\"includeAttributeValuesByAttributeKeys\":[\"TICKET_TITLE\"],"
    "\"includeLocales\":[\"EN_US\"],\"includeReferences\":true,\"includeEntityState\":true}}";

class QueryApi : public ::testing::Test
{
protected:
    void make_tenant(std::vector<scripted_reply> script,
                     std::unique_ptr<fake_token_factory> factory = nullptr)
    {
        client = std::make_shared<scripted_http_client>(std::move(script));
        make_tenant_over(client, std::move(factory));
    }

    void make_tenant_over(std::shared_ptr<http::http_base> http,
                          std::unique_ptr<fake_token_factory> factory = nullptr)
    {
        if (!factory)
            factory = std::make_unique<fake_token_factory>("tok");
        tokens = factory.get();
        t = std::make_shared<tenant>(tarsion::testing::system_settings(std::move(http)), std::move(factory));
        t->sleep = waits.function();
    }

    std::shared_ptr<scripted_http_client> client;
    fake_token_factory* tokens = nullptr;
    std::shared_ptr<tenant> t;
    recorded_waits waits;
};

// ---- the request --------------------------------------------------------

TEST_F(QueryApi, DutyChannelQueryIsSentExactly)
{
    make_tenant({{200, "[]", {}, 0}});
    const BusinessEntitiesQueryApi api(t);

    const auto result = api.query_vector(duty_channel_query(), 0u, 1u);

    ASSERT_TRUE(result.has_value());
    const auto sends = client->sends();
    ASSERT_EQ(sends.size(), 1u);
    EXPECT_EQ(sends[0].verb, "POST");
    EXPECT_EQ(sends[0].url, std::string(kQueryPath) + "?Skip=0&Take=1");
    EXPECT_EQ(pairs_of(sends[0].headers),
              (header_pairs{{"Content-Type", "application/json"}, {"Authorization", "Bearer tok"}}));
    EXPECT_TRUE(sends[0].had_body);
    EXPECT_EQ(sends[0].body, kDutyChannelJson);
    EXPECT_FALSE(sends[0].disable_redirects);
    EXPECT_EQ(sends[0].transport_option, 0);
    EXPECT_THAT(waits.waits(), IsEmpty());
}

// Nothing set is still a JSON object, and the transport flags are the
// caller's, not the defaults.
TEST_F(QueryApi, EmptyQueryAndFlagsReachTheClient)
{
    make_tenant({{200, "[]", {}, 0}});
    ASSERT_TRUE(BusinessEntitiesQueryApi(t)
                    .query_vector({}, std::nullopt, std::nullopt, std::nullopt, std::nullopt, 77, true, false)
                    .has_value());
    const auto sends = client->sends();
    ASSERT_EQ(sends.size(), 1u);
    EXPECT_EQ(sends[0].body, "{}");
    EXPECT_EQ(BusinessEntitiesQueryApi::body({}), "{}");
    EXPECT_TRUE(sends[0].disable_redirects);
    EXPECT_EQ(sends[0].transport_option, 77);
}

struct parameter_case
{
    const char* name;
    std::optional<std::uint32_t> skip;
    std::optional<std::uint32_t> take;
    std::optional<bool> use_replica;
    std::optional<std::string> engine;
    const char* query_string;
};

class QueryApiParameters : public QueryApi, public ::testing::WithParamInterface<parameter_case>
{
};

TEST_P(QueryApiParameters, AreWrittenInTheirFixedOrder)
{
    const parameter_case& c = GetParam();
    make_tenant({{200, "[]", {}, 0}});
    ASSERT_TRUE(
        BusinessEntitiesQueryApi(t).query_vector({}, c.skip, c.take, c.use_replica, c.engine).has_value());
    EXPECT_EQ(client->sends().at(0).url, std::string(kQueryPath) + c.query_string);
    EXPECT_EQ(BusinessEntitiesQueryApi::path(c.skip, c.take, c.use_replica, c.engine),
              std::string(BusinessEntitiesQueryApi::kPathTemplate) + c.query_string);
}

INSTANTIATE_TEST_SUITE_P(
    Parameters, QueryApiParameters,
    ::testing::Values(parameter_case{"None", {}, {}, {}, {}, ""},
                      parameter_case{"SkipAlone", 0u, {}, {}, {}, "?Skip=0"},
                      parameter_case{"TakeAlone", {}, 1u, {}, {}, "?Take=1"},
                      parameter_case{"SkipAndTake", 0u, 1u, {}, {}, "?Skip=0&Take=1"},
                      parameter_case{"ReplicaTrue", {}, {}, true, {}, "?useReplica=true"},
                      parameter_case{"ReplicaFalse", {}, {}, false, {}, "?useReplica=false"},
                      parameter_case{"EngineAlone", {}, {}, {}, "vector", "?engine=vector"},
                      parameter_case{"EngineEncoded", {}, {}, {}, "a b&c", "?engine=a%20b%26c"},
                      parameter_case{"EnginePresentButEmpty", {}, {}, {}, "", "?engine="},
                      parameter_case{"AllFour", 10u, 4294967295u, true, "a b&c",
                                     "?Skip=10&Take=4294967295&useReplica=true&engine=a%20b%26c"},
                      parameter_case{"TakeZeroAndReplica", {}, 0u, false, {}, "?Take=0&useReplica=false"}),
    [](const auto& info) { return std::string(info.param.name); });

// ---- the reply ----------------------------------------------------------

struct reply_case
{
    const char* name;
    scripted_reply reply;
    // Either the number of records, or the error.
    std::optional<std::size_t> records;
    std::optional<error> failure;
};

reply_case records(const char* name, std::uint32_t status, std::string body, std::size_t n)
{
    return {name, {status, std::move(body), {}, 0}, n, std::nullopt};
}

reply_case fails(const char* name, scripted_reply reply, error e)
{
    return {name, std::move(reply), std::nullopt, std::move(e)};
}

class QueryApiReply : public QueryApi, public ::testing::WithParamInterface<reply_case>
{
};

TEST_P(QueryApiReply, BecomesRecordsOrAnError)
{
    const reply_case& c = GetParam();
    make_tenant({c.reply, {200, "[]", {}, 0}});
    const auto result = BusinessEntitiesQueryApi(t).query_vector({}, 0u, 1u);

    EXPECT_EQ(client->sends().size(), 1u);
    if (c.records) {
        ASSERT_TRUE(result.has_value()) << result.error().kind << " " << result.error().message;
        EXPECT_EQ(result->size(), *c.records);
    } else {
        ASSERT_FALSE(result.has_value()) << "got " << result->size() << " records";
        EXPECT_EQ(result.error(), *c.failure);
    }
}

const http::header_list kServerHeaders{
    {"Content-Type", "text/plain"}, {"X-Request-Id", "r-1"}, {"X-Request-Id", "r-2"}};

INSTANTIATE_TEST_SUITE_P(
    Replies, QueryApiReply,
    ::testing::Values(
        records("EmptyArray", 200, "[]", 0), records("EmptyArrayWith204", 204, "[]", 0),
        records("EmptyArrayWith299", 299, "[]", 0), records("EmptyArrayWithBlanks", 200, " [ ]\n", 0),
        records("TwoEntities", 200, "[{\"stateKey\":\"OPEN\"},{\"version\":2}]", 2),
        records("EmptyObjectIsAnEntity", 200, "[{}]", 1),
        fails("Html", {200, "<html><body>Bad gateway</body></html>", {}, 0},
              error{7, 0, "<html><body>Bad gateway</body></html>", {}}),
        fails("EmptyBody", {200, "", {}, 0}, error{7, 0, "", {}}),
        fails("TrailingToken", {200, "[] x", {}, 0}, error{7, 0, "[] x", {}}),
        // Any root but an array, and any element but an object, is named
        // in the error by its compact text.
        fails("ObjectRoot", {200, "{ \"id\" : 1,\n \"a\" : [ true ] }", {}, 0},
              error{7, 0, "{\"id\":1,\"a\":[true]}", {}}),
        fails("NumberRoot", {200, " 42 ", {}, 0}, error{7, 0, "42", {}}),
        fails("NumberElement", {200, "[{\"stateKey\":\"A\"}, 5]", {}, 0}, error{7, 0, "5", {}}),
        fails("ArrayElement", {200, "[[1, 2]]", {}, 0}, error{7, 0, "[1,2]", {}}),
        fails("RejectedEntity", {200, "[{\"stateKey\":\"A\"}, { \"id\" : \"bad\" }, {}]", {}, 0},
              error{7, 0, "{\"id\":\"bad\"}", {}}),
        fails("RejectedFirstEntity", {200, "[{\"version\":\"x1\"}]", {}, 0},
              error{7, 0, "{\"version\":\"x1\"}", {}}),
        // Elements are read while the text is still being parsed: the first
        // bad one is named, unless the text turns out not to parse at all.
        fails("FirstOfTwoBadElements", {200, "[{}, 5, [6]]", {}, 0}, error{7, 0, "5", {}}),
        fails("BadElementThenBrokenText", {200, "[5, {} x", {}, 0}, error{7, 0, "[5, {} x", {}}),
        fails("ServerError", {500, "{ \"boom\" : 1 }", kServerHeaders, 0},
              error{5, 500, "{ \"boom\" : 1 }", kServerHeaders}),
        fails("NotFound", {404, "missing", {}, 0}, error{5, 404, "missing", {}}),
        fails("Status199", {199, "[]", {}, 0}, error{5, 199, "[]", {}}),
        fails("Status300", {300, "[]", {}, 0}, error{5, 300, "[]", {}}),
        fails("StatusZero", {0, "[]", {}, 0}, error{5, 0, "[]", {}}),
        fails("TransportFailure", {0, "", {}, 12}, error{4, 12, "", {}})),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(QueryApi, EntitiesAreReadInReplyOrder)
{
    make_tenant({{200,
                  "[{\"id\":\"01234567-89AB-CDEF-0123-456789abcdef\",\"stateKey\":\"OPEN\","
                  "\"version\":3,\"isDraft\":false},"
                  "{\"entityTypeKey\":\"BUSINESS_TICKET\",\"attributeValues\":[]}]",
                  {},
                  0}});
    const auto result = BusinessEntitiesQueryApi(t).query_vector(duty_channel_query(), 0u, 1u);

    ASSERT_TRUE(result.has_value());
    ASSERT_EQ(result->size(), 2u);
    const dto::EntityDto& first = (*result)[0];
    ASSERT_TRUE(first.id.has_value());
    EXPECT_EQ(*first.id, (uuid{0x0123456789abcdefull, 0x0123456789abcdefull}));
    EXPECT_EQ(first.stateKey, "OPEN");
    EXPECT_EQ(first.version, 3);
    EXPECT_EQ(first.isDraft, false);
    EXPECT_FALSE(first.entityTypeKey.has_value());
    const dto::EntityDto& second = (*result)[1];
    EXPECT_FALSE(second.id.has_value());
    EXPECT_EQ(second.entityTypeKey, "BUSINESS_TICKET");
    ASSERT_TRUE(second.attributeValues.has_value());
    EXPECT_TRUE(second.attributeValues->empty());
}

// ---- retries and renewal ------------------------------------------------
// The tenant decides both; these show that the query is sent as a POST that
// retries only when asked, and that its body survives a second attempt. (The
// reply table above shows a 500 is not retried by default.)

TEST_F(QueryApi, QueryIsRetriedWhenAnyVerbMayBe)
{
    make_tenant({{503, "busy", {}, 0}, {502, "", {}, 0}, {200, "[{}]", {}, 0}});
    const auto result = BusinessEntitiesQueryApi(t).query_vector(duty_channel_query(), 0u, 1u, std::nullopt,
                                                                 std::nullopt, 0, false, true);

    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->size(), 1u);
    const auto sends = client->sends();
    ASSERT_EQ(sends.size(), 3u);
    for (const auto& s : sends)
        EXPECT_EQ(s.body, kDutyChannelJson);
    EXPECT_THAT(waits.waits(), ElementsAre(1u, 3u));
}

TEST_F(QueryApi, RenewedTokenResendsTheQuery)
{
    make_tenant({{401, "expired", {}, 0}, {200, "[{}]", {}, 0}},
                std::make_unique<fake_token_factory>("old", std::string("new")));
    const auto result = BusinessEntitiesQueryApi(t).query_vector(duty_channel_query(), 0u, 1u);

    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->size(), 1u);
    const auto sends = client->sends();
    ASSERT_EQ(sends.size(), 2u);
    EXPECT_EQ(pairs_of(sends[1].headers),
              (header_pairs{{"Content-Type", "application/json"}, {"Authorization", "Bearer new"}}));
    EXPECT_EQ(sends[1].body, kDutyChannelJson);
    EXPECT_THAT(tokens->refreshed_from(), ElementsAre("old"));
}

// ---- many callers -------------------------------------------------------

// Answers each query with one entity that repeats the engine the URL named
// and the customer number the body named, so that an answer delivered to the
// wrong caller, or a body sent with the wrong URL, shows.
std::string between(const std::string& text, const std::string& start, char stop)
{
    const std::size_t at = text.find(start);
    if (at == std::string::npos)
        return "?";
    const std::size_t from = at + start.size();
    return text.substr(from, text.find(stop, from) - from);
}

scripted_reply echo_request(const recorded_send& s)
{
    return {200,
            "[{\"stateKey\":\"" + between(s.url, "engine=", '&') + "\",\"customerNumber\":\""
                + between(s.body, "\"customerNumber\":\"", '"') + "\"}]",
            {},
            0};
}

TEST_F(QueryApi, ConcurrentCallersEachGetTheirOwnAnswer)
{
    auto echo = std::make_shared<scripted_http_client>(echo_request);
    make_tenant_over(echo);
    constexpr int kThreads = 8;
    constexpr int kCalls = 25;
    std::vector<std::vector<std::string>> failures(kThreads);
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([this, i, &failures] {
            for (int call = 0; call < kCalls; ++call) {
                const std::string engine = "e" + std::to_string(i) + "-" + std::to_string(call);
                dto::BusinessEntitiesQueryDto query;
                query.customerNumber = "c-" + engine;
                const auto result =
                    BusinessEntitiesQueryApi(t).query_vector(query, 0u, 1u, std::nullopt, engine);
                if (!result || result->size() != 1 || (*result)[0].stateKey != engine
                    || (*result)[0].customerNumber != "c-" + engine)
                    failures[i].push_back(engine);
            }
        });
    }
    for (auto& th : threads)
        th.join();
    for (int i = 0; i < kThreads; ++i)
        EXPECT_THAT(failures[i], IsEmpty()) << "thread " << i;
    EXPECT_EQ(echo->sends().size(), static_cast<std::size_t>(kThreads * kCalls));
}

} // namespace
} // namespace tarsion::quorvel::api
