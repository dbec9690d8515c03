#pragma once

#include "sdk/dto/record.h"

namespace tarsion::quorvel::dto {

// Entities whose attribute holds a given value key.
struct AttributeValueKeyQueryFilterDto : record<AttributeValueKeyQueryFilterDto>
{
    text_field attributeKey;
    text_field operator_;
    text_field valueKey;

    static constexpr auto fields()
    {
        using R = AttributeValueKeyQueryFilterDto;
        return std::tuple{field("attributeKey", &R::attributeKey), field("operator", &R::operator_),
                          field("valueKey", &R::valueKey)};
    }
};

} // namespace tarsion::quorvel::dto
