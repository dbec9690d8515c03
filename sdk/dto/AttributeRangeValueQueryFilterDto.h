#pragma once

#include "sdk/dto/record.h"

namespace tarsion::quorvel::dto {

// Entities whose attribute value lies within a range.
struct AttributeRangeValueQueryFilterDto : record<AttributeRangeValueQueryFilterDto>
{
    text_field attributeKey;
    text_field fromOperator;
    text_field fromValue;
    text_field fromValueExpression;
    text_field toOperator;
    text_field toValue;
    text_field toValueExpression;

    static constexpr auto fields()
    {
        using R = AttributeRangeValueQueryFilterDto;
        return std::tuple{field("attributeKey", &R::attributeKey),
                          field("fromOperator", &R::fromOperator),
                          field("fromValue", &R::fromValue),
                          field("fromValueExpression", &R::fromValueExpression),
                          field("toOperator", &R::toOperator),
                          field("toValue", &R::toValue),
                          field("toValueExpression", &R::toValueExpression)};
    }
};

} // namespace tarsion::quorvel::dto
