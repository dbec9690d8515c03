// The entities query over a fake client whose reply comes from the input:
// the first byte picks the status (below 0xC0 a 2xx one, otherwise with the
// next byte any status below 1000), the rest is the body.
//
// Properties: the request is the fixed one (one POST of the empty query to
// the search path, with its content type); a status outside 200 to 299 is
// the error of kind 5 with the status, the whole body and the headers; a
// 2xx reply gives what a model of the conversion built here gives (kind 7
// with the whole body when it does not read, with the root written compact
// when it is no array, with the first bad element written compact;
// otherwise every element as a record, never part of the list), and so does
// entities_from over the body; the query, asked for one entity, keeps the
// first of those.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "support/scripted_http_client.h"
#include "fuzz_check.h"
#include "sdk/api/BusinessEntitiesQueryApi.h"
#include "sdk/core/tenant.h"
#include "sdk/json/json_reader.h"
#include "sdk/json/json_writer.h"

namespace {

using tarsion::json_node;
using tarsion::quorvel::api::BusinessEntitiesQueryApi;
using tarsion::quorvel::dto::EntityDto;
using entities = tarsion::expected<std::vector<EntityDto>>;

std::string compact(const json_node& node)
{
    std::string out;
    tarsion::write_json(node, out, false);
    return out;
}

std::string written(const EntityDto& entity)
{
    json_node object;
    entity.to_json(object);
    return compact(object);
}

entities modelled_conversion(const std::string& body)
{
    json_node root;
    if (!tarsion::parse_json(body, root))
        return tarsion::make_error(tarsion::error_kind::invalid_body, 0, body);
    if (!root.is_array)
        return tarsion::make_error(tarsion::error_kind::invalid_body, 0, compact(root));
    std::vector<EntityDto> out(root.children.size());
    for (std::size_t i = 0; i < out.size(); ++i) {
        if (!root.children[i].is_object || !out[i].from_json(root.children[i]))
            return tarsion::make_error(tarsion::error_kind::invalid_body, 0, compact(root.children[i]));
    }
    return out;
}

void check_same(const entities& actual, const entities& expected, const char* what)
{
    FUZZ_CHECK(actual.has_value() == expected.has_value(), what);
    if (!actual) {
        FUZZ_CHECK(actual.error() == expected.error(), what);
        return;
    }
    FUZZ_CHECK(actual->size() == expected->size(), what);
    for (std::size_t i = 0; i < actual->size(); ++i)
        FUZZ_CHECK(written((*actual)[i]) == written((*expected)[i]), what);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0)
        return 0;
    tarsion::testing::scripted_reply reply{200u + data[0] % 100u, {}, {{"X-Request-Id", "r1"}}};
    std::size_t body_at = 1;
    if (data[0] >= 0xC0) {
        reply.status = ((static_cast<unsigned>(data[0] & 0x3F) << 8) | (size > 1 ? data[1] : 0u)) % 1000;
        body_at = size > 1 ? 2 : 1;
    }
    reply.body.assign(reinterpret_cast<const char*>(data) + body_at, size - body_at);
    auto client = std::make_shared<tarsion::testing::scripted_http_client>(std::vector{reply});
    tarsion::tenant_base settings;
    settings.base_url = "http://fuzz.invalid";
    settings.http_client = client;
    settings.business_id = "b1";
    auto tenant = std::make_shared<tarsion::tenant>(std::move(settings));
    tenant->sleep = [](std::uint32_t) {
        fuzz::fail(__FILE__, __LINE__, "sleep", "a tenant without retries never waits");
    };
    const entities result = BusinessEntitiesQueryApi(tenant).query_vector({}, 0u, 1u);

    const auto sends = client->sends();
    FUZZ_CHECK(sends.size() == 1, "the query is sent once");
    FUZZ_CHECK(
        sends[0].verb == "POST"
            && sends[0].url
                   == "http://fuzz.invalid/api/business/quorvel/b1/v0/entities/query/vector?Skip=0&Take=1",
        "the query goes to the search path");
    FUZZ_CHECK(sends[0].body == "{}", "the empty query is sent as an empty object");
    const tarsion::http::header* type = sends[0].headers.find("Content-Type");
    FUZZ_CHECK(type != nullptr && type->second == "application/json", "the body is sent as JSON");
    if (reply.status < 200 || reply.status > 299) {
        FUZZ_CHECK(!result && result.error() == (tarsion::error{5, reply.status, reply.body, reply.headers}),
                   "a status outside 2xx is an error carrying the status, the body and the headers");
        return 0;
    }
    const entities expected = modelled_conversion(reply.body);
    check_same(BusinessEntitiesQueryApi::entities_from(reply.body), expected,
               "entities_from converts as modelled");
    // Asked for one, the query keeps the first entity of a good reply; every
    // element is still read, so a bad one anywhere fails it all the same.
    entities first = expected;
    if (first && first->size() > 1)
        first->resize(1);
    check_same(result, first, "a 2xx reply converts as modelled, keeping what was asked for");
    return 0;
}
