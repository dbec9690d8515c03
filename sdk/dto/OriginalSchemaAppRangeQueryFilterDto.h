#pragma once

#include "sdk/dto/record.h"

namespace tarsion::quorvel::dto {

// Entities by the version range of their original schema application.
struct OriginalSchemaAppRangeQueryFilterDto : record<OriginalSchemaAppRangeQueryFilterDto>
{
    text_field key;
    text_field fromOperator;
    text_field fromVersion;
    text_field toOperator;
    text_field toVersion;

    static constexpr auto fields()
    {
        using R = OriginalSchemaAppRangeQueryFilterDto;
        return std::tuple{field("key", &R::key), field("fromOperator", &R::fromOperator),
                          field("fromVersion", &R::fromVersion), field("toOperator", &R::toOperator),
                          field("toVersion", &R::toVersion)};
    }
};

} // namespace tarsion::quorvel::dto
