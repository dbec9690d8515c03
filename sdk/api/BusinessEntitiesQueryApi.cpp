#include "sdk/api/BusinessEntitiesQueryApi.h"

#include "sdk/api/query_string.h"
#include "sdk/core/string_body.h"
#include "sdk/json/json_reader.h"
#include "sdk/json/json_writer.h"

namespace tarsion::quorvel::api {
namespace {

std::optional<std::string> decimal(std::optional<std::uint32_t> number)
{
    return number ? std::optional(std::to_string(*number)) : std::nullopt;
}

std::string compact(const json_node& node)
{
    std::string out;
    write_json(node, out, false);
    return out;
}

} // namespace

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

expected<std::vector<dto::EntityDto>> BusinessEntitiesQueryApi::entities_from(const std::string& body,
                                                                          std::size_t keep)
{
    // Each entity is read as soon as its element has been parsed, while it is
    // still in the cache, and its subtree is dropped at once: the whole tree,
    // several times the size of the reply, never exists. Past `keep`, each is
    // read into the same spare record, checked and forgotten.
    std::vector<dto::EntityDto> entities;
    dto::EntityDto spare;
    std::optional<error> bad_element;
    json_node root;
    const bool parsed = parse_json_elements(body, root, [&](json_node& element) {
        if (bad_element)
            return;
        dto::EntityDto& entity = entities.size() < keep ? entities.emplace_back() : spare;
        if (!element.is_object || !entity.from_json(element))
            bad_element = make_error(error_kind::invalid_body, 0, compact(element)).error();
    });
    // A text that does not parse is reported whole, even when an element
    // before the fault was already bad.
    if (!parsed)
        return make_error(error_kind::invalid_body, 0, body);
    if (!root.is_array)
        return make_error(error_kind::invalid_body, 0, compact(root));
    if (bad_element)
        return std::unexpected(std::move(*bad_element));
    return entities;
}

expected<std::vector<dto::EntityDto>> BusinessEntitiesQueryApi::query_vector(
    const dto::BusinessEntitiesQueryDto& query, std::optional<std::uint32_t> skip,
    std::optional<std::uint32_t> take, std::optional<bool> use_replica,
    const std::optional<std::string>& engine, std::int64_t transport_option, bool disable_redirects,
    bool retry_any_verb) const
{
    // The query string's parameters in their fixed order, each written only
    // when present.
    std::string path = kPathTemplate;
    const std::pair<const char*, std::optional<std::string>> parameters[] = {
        {"Skip", decimal(skip)},
        {"Take", decimal(take)},
        {"useReplica",
         use_replica ? std::optional<std::string>(*use_replica ? "true" : "false") : std::nullopt},
        {"engine", engine ? std::optional(percent_encode(*engine)) : std::nullopt},
    };
    for (const auto& [name, value] : parameters) {
        if (value)
            append_query_parameter(path, name, *value);
    }
    const http::string_body::factory request_body(body(query));
    const http::header_list headers{{"Content-Type", "application/json"}};
    expected<http_response> reply =
        call("POST", path, headers, &request_body, transport_option, disable_redirects, retry_any_verb);
    if (!reply)
        return std::unexpected(std::move(reply.error()));
    if (reply->status < 200 || reply->status > 299)
        return make_error(error_kind::http_status, reply->status, std::move(reply->body),
                          std::move(reply->headers));
    return entities_from(reply->body, take.value_or(std::numeric_limits<std::uint32_t>::max()));
}

} // namespace tarsion::quorvel::api
