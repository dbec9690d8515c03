#pragma once

#include "sdk/dto/record.h"

namespace tarsion::quorvel::dto {

// One reference from an entity to another.
struct EntityReferenceDto : record<EntityReferenceDto>
{
    uuid_field id;
    uuid_field entityId;
    uuid_field entityTypeId;
    text_field entityTypeKey;
    text_field key;
    text_field position;
    uuid_field originalId;

    static constexpr auto fields()
    {
        using R = EntityReferenceDto;
        return std::tuple{field("id", &R::id),
                          field("entityId", &R::entityId),
                          field("entityTypeId", &R::entityTypeId),
                          field("entityTypeKey", &R::entityTypeKey),
                          field("key", &R::key),
                          field("position", &R::position),
                          field("originalId", &R::originalId)};
    }
};

} // namespace tarsion::quorvel::dto
