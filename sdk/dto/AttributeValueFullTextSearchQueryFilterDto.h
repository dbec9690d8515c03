#pragma once

#include "sdk/dto/record.h"

namespace tarsion::quorvel::dto {

// A full-text search over attribute values.
struct AttributeValueFullTextSearchQueryFilterDto : record<AttributeValueFullTextSearchQueryFilterDto>
{
    text_field value;
    list_field<std::string> locales;
    text_field type;

    static constexpr auto fields()
    {
        using R = AttributeValueFullTextSearchQueryFilterDto;
        return std::tuple{field("value", &R::value), field("locales", &R::locales), field("type", &R::type)};
    }
};

} // namespace tarsion::quorvel::dto
