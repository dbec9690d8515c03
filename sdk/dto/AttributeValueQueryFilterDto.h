#pragma once

#include "sdk/dto/record.h"

namespace tarsion::quorvel::dto {

// Entities whose attribute value compares with a value.
struct AttributeValueQueryFilterDto : record<AttributeValueQueryFilterDto>
{
    text_field attributeKey;
    text_field operator_;
    text_field value;
    text_field valueExpression;
    bool_field ignoreCase;
    list_field<std::string> locales;

    static constexpr auto fields()
    {
        using R = AttributeValueQueryFilterDto;
        return std::tuple{field("attributeKey", &R::attributeKey),
                          field("operator", &R::operator_),
                          field("value", &R::value),
                          field("valueExpression", &R::valueExpression),
                          field("ignoreCase", &R::ignoreCase),
                          field("locales", &R::locales)};
    }
};

} // namespace tarsion::quorvel::dto
