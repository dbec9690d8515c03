#pragma once

#include "sdk/dto/record.h"

namespace tarsion::quorvel::dto {

// Entities by localization state.
struct LocalizationQueryFilterDto : record<LocalizationQueryFilterDto>
{
    text_field stateKey;
    text_field operator_;
    list_field<std::string> locales;

    static constexpr auto fields()
    {
        using R = LocalizationQueryFilterDto;
        return std::tuple{field("stateKey", &R::stateKey), field("operator", &R::operator_),
                          field("locales", &R::locales)};
    }
};

} // namespace tarsion::quorvel::dto
