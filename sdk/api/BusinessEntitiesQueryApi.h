#pragma once

#include <cstdint>
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
    // partial list is ever returned.
    expected<std::vector<dto::EntityDto>>
    query_vector(const dto::BusinessEntitiesQueryDto& query, std::optional<std::uint32_t> skip = {},
                 std::optional<std::uint32_t> take = {}, std::optional<bool> use_replica = {},
                 const std::optional<std::string>& engine = {}, std::int64_t transport_option = 0,
                 bool disable_redirects = false, bool retry_any_verb = false) const;

    // The compact JSON body; empty when the record cannot be written.
    static std::string body(const dto::BusinessEntitiesQueryDto& query);
    // Turns a 2xx reply body into entities.
    static expected<std::vector<dto::EntityDto>> entities_from(const std::string& body);
};

} // namespace tarsion::quorvel::api
