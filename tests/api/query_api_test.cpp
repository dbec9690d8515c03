// The entities query: the exact request it sends, its query string, and what
// each reply becomes.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "sdk/api/BusinessEntitiesQueryApi.h"
#include "sdk/api/query_string.h"
#include "tests/support/pipeline_fakes.h"
#include "tests/support/scripted_http_client.h"

namespace tarsion::quorvel::api {
namespace {

using tarsion::testing::fake_token_factory;
using tarsion::testing::recorded_send;
using tarsion::testing::scripted_http_client;
using tarsion::testing::scripted_reply;

constexpr const char* kQueryUrl = "http://127.0.0.1:1/api/business/quorvel/b1/v0/entities/query/vector";

// The query with which the chat layer looks for the duty channel.
dto::BusinessEntitiesQueryDto duty_channel_query()
{
    dto::AttributeValueQueryFilterDto filter;
    filter.attributeKey = "IS_DEFAULT_CHANNEL";
    filter.operator_ = "Equals";
    filter.value = "TRUE";
    filter.ignoreCase = true;
    filter.locales = std::vector<std::string>{"EN_US"};
    dto::EntitiesOptionsDto options;
    options.includeAttributeValuesByAttributeKeys = std::vector<std::string>{"TICKET_TITLE"};
    options.includeReferences = true;
    dto::BusinessEntitiesQueryDto query;
    query.entitiesByEntityTypeKeys = std::vector<std::string>{"BUSINESS_TICKET"};
    query.entitiesByEntityTypesWithInheritance = false;
    query.entitiesByAttributeValues = std::vector{filter};
    query.entitiesOptions = options;
    return query;
}

// Members in their documented order, whatever order they were set in.
constexpr const char* kDutyChannelJson =
    R"({"entitiesByEntityTypesWithInheritance":false,"entitiesByAttributeValues":[{"attributeKey":)"
    R"("IS_DEFAULT_CHANNEL","operator":"Equals","value":"TRUE","ignoreCase":true,"locales":["EN_US"]}],)"
    R"("entitiesByEntityTypeKeys":["BUSINESS_TICKET"],"entitiesOptions":{)"
    R"("includeAttributeValuesByAttributeKeys":["TICKET_TITLE"],"includeReferences":true}})";

struct harness
{
    explicit harness(std::vector<scripted_reply> script, std::string renewal = "tok")
        : client(std::make_shared<scripted_http_client>(std::move(script)))
        , t(std::make_shared<tenant>(tarsion::testing::system_settings(client),
                                     std::make_unique<fake_token_factory>("tok", renewal)))
    {
        t->sleep = [](std::uint32_t) {};
    }
    std::shared_ptr<scripted_http_client> client;
    std::shared_ptr<tenant> t;
};

TEST(QueryApi, DutyChannelQueryIsSentExactlyAndResentAfterRenewal)
{
    harness h({{401, "expired", {}, 0}, {200, "[{}]", {}, 0}}, "new");
    const auto result = BusinessEntitiesQueryApi(h.t).query_vector(duty_channel_query(), 0u, 1u);
    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->size(), 1u);
    const auto sends = h.client->sends();
    ASSERT_EQ(sends.size(), 2u);
    for (const auto& [s, token] : {std::pair{sends[0], "tok"}, {sends[1], "new"}}) {
        EXPECT_EQ(s.verb + " " + s.url, std::string("POST ") + kQueryUrl + "?Skip=0&Take=1");
        EXPECT_EQ(tarsion::testing::joined(s.headers),
                  std::string("Content-Type: application/json; Authorization: Bearer ") + token);
        EXPECT_EQ(s.body, kDutyChannelJson);
        EXPECT_FALSE(s.disable_redirects);
    }
    EXPECT_EQ(BusinessEntitiesQueryApi(nullptr).query_vector({}).error().kind,
              error_kind::missing_configuration);
}

TEST(QueryApi, ParametersComeInTheirFixedOrderAndEncoded)
{
    using P = std::tuple<std::optional<std::uint32_t>, std::optional<std::uint32_t>, std::optional<bool>,
                         std::optional<std::string>, const char*>;
    for (const auto& [skip, take, replica, engine, query] :
         {P{{}, {}, {}, {}, ""}, P{0u, {}, {}, {}, "?Skip=0"}, P{{}, 1u, {}, {}, "?Take=1"},
          P{{}, {}, false, {}, "?useReplica=false"}, P{{}, {}, {}, "", "?engine="},
          P{10u, 4294967295u, true, "a b&c=\xc3\xa9",
            "?Skip=10&Take=4294967295&useReplica=true&engine=a%20b%26c%3D%C3%A9"}}) {
        harness h({{200, "[]", {}, 0}});
        ASSERT_TRUE(BusinessEntitiesQueryApi(h.t).query_vector({}, skip, take, replica, engine).has_value());
        EXPECT_EQ(h.client->sends().at(0).url, std::string(kQueryUrl) + query);
    }
    std::string all;
    for (int b = 0; b < 256; ++b)
        all.push_back(static_cast<char>(b));
    std::string expected;
    for (const unsigned char c : all) {
        const bool unreserved = std::isalnum(c) || c == '-' || c == '.' || c == '_' || c == '~';
        expected += unreserved ? std::string(1, static_cast<char>(c))
                               : std::string{'%', "0123456789ABCDEF"[c >> 4], "0123456789ABCDEF"[c & 15]};
    }
    EXPECT_EQ(percent_encode(all), expected);
}

TEST(QueryApi, EachReplyBecomesRecordsOrAnError)
{
    const http::header_list headers{{"Content-Type", "text/plain"}, {"X-Request-Id", "r-1"}};
    const struct
    {
        scripted_reply reply;
        std::optional<std::size_t> records;
        error failure;
    } cases[] = {
        {{200, "[]", {}, 0}, 0, {}},
        {{204, " [ ]\n", {}, 0}, 0, {}},
        // Asked for one, the service sends three: one is kept, all are read.
        {{299, "[{\"stateKey\":\"OPEN\"},{\"version\":2},{}]", {}, 0}, 1, {}},
        {{200, "<html>Bad gateway</html>", {}, 0}, {}, {7, 0, "<html>Bad gateway</html>", {}}},
        {{200, "", {}, 0}, {}, {7, 0, "", {}}},
        {{200, "[] x", {}, 0}, {}, {7, 0, "[] x", {}}},
        // A root that is no array, and the first element that is no entity, is named by its compact text.
        {{200, "{ \"id\" : 1 }", {}, 0}, {}, {7, 0, "{\"id\":1}", {}}},
        {{200, "[{}, 5, [6]]", {}, 0}, {}, {7, 0, "5", {}}},
        {{200, "[{\"stateKey\":\"A\"}, { \"id\" : \"bad\" }]", {}, 0}, {}, {7, 0, "{\"id\":\"bad\"}", {}}},
        {{200, "[5, {} x", {}, 0}, {}, {7, 0, "[5, {} x", {}}},
        {{500, "{ \"boom\" : 1 }", headers, 0}, {}, {5, 500, "{ \"boom\" : 1 }", headers}},
        {{199, "[]", {}, 0}, {}, {5, 199, "[]", {}}},
        {{300, "[]", {}, 0}, {}, {5, 300, "[]", {}}},
        {{0, "", {}, 12}, {}, {4, 12, "", {}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.reply.status) + " " + c.reply.body);
        harness h({c.reply, {200, "[]", {}, 0}});
        const auto result = BusinessEntitiesQueryApi(h.t).query_vector({}, 0u, 1u);
        EXPECT_EQ(h.client->sends().size(), 1u);
        if (c.records) {
            ASSERT_TRUE(result.has_value()) << result.error().message;
            EXPECT_EQ(result->size(), *c.records);
        } else {
            ASSERT_FALSE(result.has_value());
            EXPECT_EQ(result.error(), c.failure);
        }
    }
}

} // namespace
} // namespace tarsion::quorvel::api
