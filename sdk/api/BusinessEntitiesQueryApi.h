#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "sdk/core/api_base.h"
#include "sdk/dto/BusinessEntitiesQueryDto.h"
#include "sdk/dto/EntityDto.h"

namespace tarsion::quorvel::api {

// The entities search of the entity service: a query record in, the matching
// entities out. Stateless; make one per call over a shared tenant.
class BusinessEntitiesQueryApi : public tarsion::api_base
{
public:
    using api_base::api_base;

    static constexpr const char* kPathTemplate =
        "/api/business/quorvel/{businessId}/v0/entities/query/vector";

    // Blocks until the exchange, retries included, is over. A status outside
    // 200 to 299 is an error of kind 5 carrying the body and headers; a 2xx
    // body that is not an array of entity objects is an error of kind 7. No
    // partial list is ever returned. With `take`, no more than `take`
    // entities are kept, whatever the service sends: a reply of a million
    // elements costs the memory of one at a time, not of a million records.
    expected<std::vector<dto::EntityDto>>
    query_vector(const dto::BusinessEntitiesQueryDto& query, std::optional<std::uint32_t> skip = {},
                 std::optional<std::uint32_t> take = {}, std::optional<bool> use_replica = {},
                 const std::optional<std::string>& engine = {}, std::int64_t transport_option = 0,
                 bool disable_redirects = false, bool retry_any_verb = false) const;

    // The compact JSON body; empty when the record cannot be written.
    static std::string body(const dto::BusinessEntitiesQueryDto& query);
    // Turns a 2xx reply body into entities, keeping at most `keep` of them.
    // Every element is read and checked all the same, one at a time.
    static expected<std::vector<dto::EntityDto>>
    entities_from(const std::string& body, std::size_t keep = std::numeric_limits<std::size_t>::max());
};

} // namespace tarsion::quorvel::api
