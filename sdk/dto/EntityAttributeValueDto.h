#pragma once

#include "sdk/dto/LocalizationDto.h"
#include "sdk/dto/ValueLocaleDto.h"
#include "sdk/dto/record.h"

namespace tarsion::quorvel::dto {

// One attribute value of an entity.
struct EntityAttributeValueDto : record<EntityAttributeValueDto>
{
    uuid_field id;
    text_field attributeKey;
    uuid_field attributeId;
    text_field attributeType;
    text_field valueKey;
    uuid_field valueId;
    uuid_field originalId;
    nested_field<LocalizationDto> localization;
    list_field<ValueLocaleDto> valueLocales;

    static constexpr auto fields()
    {
        using R = EntityAttributeValueDto;
        return std::tuple{field("id", &R::id),
                          field("attributeKey", &R::attributeKey),
                          field("attributeId", &R::attributeId),
                          field("attributeType", &R::attributeType),
                          field("valueKey", &R::valueKey),
                          field("valueId", &R::valueId),
                          field("originalId", &R::originalId),
                          field("localization", &R::localization),
                          field("valueLocales", &R::valueLocales)};
    }
};

} // namespace tarsion::quorvel::dto
