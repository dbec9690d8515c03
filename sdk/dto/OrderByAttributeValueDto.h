#pragma once

#include "sdk/dto/record.h"

namespace tarsion::quorvel::dto {

// One ordering key.
struct OrderByAttributeValueDto : record<OrderByAttributeValueDto>
{
    text_field attributeKey;
    text_field direction;
    text_field locale;

    static constexpr auto fields()
    {
        using R = OrderByAttributeValueDto;
        return std::tuple{field("attributeKey", &R::attributeKey), field("direction", &R::direction),
                          field("locale", &R::locale)};
    }
};

} // namespace tarsion::quorvel::dto
