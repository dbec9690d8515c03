#include "sdk/api/BusinessEntitiesQueryApi.h"

#include "sdk/api/query_string.h"
#include "sdk/core/string_body.h"
#include "sdk/json/json_reader.h"
#include "sdk/json/json_writer.h"

namespace tarsion::quorvel::api {
namespace {

std::string compact(const json_node& node)
{
    std::string out;
    write_json(node, out, false);
    return out;
}

// Each element's subtree is destroyed as soon as it has become a record: the
// tree is several times the size of the reply, so releasing it while the
// records grow keeps the peak near the larger of the two rather than their
// sum, and the memory just read is still in the cache when it is freed.
expected<std::vector<dto::EntityDto>> entities_from_tree(json_node& root)
{
    if (!root.is_array)
        return make_error(error_kind::invalid_body, 0, compact(root));

    std::vector<dto::EntityDto> entities;
    entities.reserve(root.children.size());
    for (json_node& element : root.children) {
        dto::EntityDto& entity = entities.emplace_back();
        if (!element.is_object || !entity.from_json(element))
            return make_error(error_kind::invalid_body, 0, compact(element));
        element.set_value({}, false);
    }
    return entities;
}

} // namespace

std::string BusinessEntitiesQueryApi::path(std::optional<std::uint32_t> skip,
                                           std::optional<std::uint32_t> take,
                                           std::optional<bool> use_replica,
                                           const std::optional<std::string>& engine)
{
    std::string p = kPathTemplate;
    if (skip)
        append_query_parameter(p, "Skip", std::to_string(*skip));
    if (take)
        append_query_parameter(p, "Take", std::to_string(*take));
    if (use_replica)
        append_query_parameter(p, "useReplica", *use_replica ? "true" : "false");
    if (engine)
        append_query_parameter(p, "engine", percent_encode(*engine));
    return p;
}

std::string BusinessEntitiesQueryApi::body(const dto::BusinessEntitiesQueryDto& query)
{
    // The root is made an object up front, so that a query with no field set
    // is still sent as "{}".
    json_node root;
    root.is_object = true;
    if (!query.to_json(root))
        return {};
    return compact(root);
}

expected<std::vector<dto::EntityDto>> BusinessEntitiesQueryApi::entities_from(const std::string& body)
{
    json_node root;
    if (!parse_json(body, root))
        return make_error(error_kind::invalid_body, 0, body);
    return entities_from_tree(root);
}

expected<std::vector<dto::EntityDto>> BusinessEntitiesQueryApi::entities_from(std::string&& body)
{
    json_node root;
    if (!parse_json(body, root))
        return make_error(error_kind::invalid_body, 0, std::move(body));
    // Only the tree is read from here on; a large reply should not stay
    // alive beside it.
    std::string().swap(body);
    return entities_from_tree(root);
}

expected<std::vector<dto::EntityDto>> BusinessEntitiesQueryApi::query_vector(
    const dto::BusinessEntitiesQueryDto& query, std::optional<std::uint32_t> skip,
    std::optional<std::uint32_t> take, std::optional<bool> use_replica,
    const std::optional<std::string>& engine, std::int64_t transport_option,
    bool disable_redirects, bool retry_any_verb) const
{
    const http::string_body::factory request_body(body(query));
    const http::header_list headers{{"Content-Type", "application/json"}};
    expected<http_response> reply = call("POST", path(skip, take, use_replica, engine), headers,
                                         &request_body, transport_option, disable_redirects,
                                         retry_any_verb);
    if (!reply)
        return std::unexpected(std::move(reply.error()));
    if (reply->status < 200 || reply->status > 299)
        return make_error(error_kind::http_status, reply->status, std::move(reply->body),
                          std::move(reply->headers));
    return entities_from(std::move(reply->body));
}

} // namespace tarsion::quorvel::api
