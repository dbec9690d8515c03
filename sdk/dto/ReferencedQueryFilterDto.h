#pragma once

#include "sdk/dto/record.h"

namespace tarsion::quorvel::dto {

// Entities that reference, or are referenced by, a given entity.
struct ReferencedQueryFilterDto : record<ReferencedQueryFilterDto>
{
    uuid_field entityId;
    text_field operator_;
    text_field key;

    static constexpr auto fields()
    {
        using R = ReferencedQueryFilterDto;
        return std::tuple{field("entityId", &R::entityId), field("operator", &R::operator_),
                          field("key", &R::key)};
    }
};

} // namespace tarsion::quorvel::dto
