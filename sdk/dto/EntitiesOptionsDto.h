#pragma once

#include "sdk/dto/record.h"

namespace tarsion::quorvel::dto {

// What the service is to include in each returned entity.
struct EntitiesOptionsDto : record<EntitiesOptionsDto>
{
    list_field<std::string> includeAttributeValuesByAttributeKeys;
    list_field<std::string> includeLocales;
    bool_field includeReferences;
    bool_field includeEntityState;
    bool_field includeSealed;
    bool_field includeLocalization;

    static constexpr auto fields()
    {
        using R = EntitiesOptionsDto;
        return std::tuple{
            field("includeAttributeValuesByAttributeKeys", &R::includeAttributeValuesByAttributeKeys),
            field("includeLocales", &R::includeLocales),
            field("includeReferences", &R::includeReferences),
            field("includeEntityState", &R::includeEntityState),
            field("includeSealed", &R::includeSealed),
            field("includeLocalization", &R::includeLocalization)};
    }
};

} // namespace tarsion::quorvel::dto
