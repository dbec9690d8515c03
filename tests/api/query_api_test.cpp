// The entities query: its query string, and what each reply becomes. The
// exact request the plug-in sends is pinned over the Qt chain.

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
using tarsion::testing::scripted_http_client;
using tarsion::testing::scripted_reply;

constexpr const char* kQueryUrl = "http://127.0.0.1:1/api/business/quorvel/b1/v0/entities/query/vector";

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
        EXPECT_FALSE(h.client->sends().at(0).disable_redirects);
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
    EXPECT_EQ(BusinessEntitiesQueryApi(nullptr).query_vector({}).error().kind,
              error_kind::missing_configuration);
}

} // namespace
} // namespace tarsion::quorvel::api
