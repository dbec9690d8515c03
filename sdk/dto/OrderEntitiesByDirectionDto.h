#pragma once

#include "sdk/dto/record.h"

namespace tarsion::quorvel::dto {

// Cursor-style paging from a given entity.
struct OrderEntitiesByDirectionDto : record<OrderEntitiesByDirectionDto>
{
    text_field direction;
    uuid_field entityId;
    uuid_field cursorId;

    static constexpr auto fields()
    {
        using R = OrderEntitiesByDirectionDto;
        return std::tuple{field("direction", &R::direction), field("entityId", &R::entityId),
                          field("cursorId", &R::cursorId)};
    }
};

} // namespace tarsion::quorvel::dto
