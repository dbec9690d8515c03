#pragma once

#include "sdk/dto/record.h"

namespace tarsion::quorvel::dto {

// Localization state, with a state key per locale.
struct LocalizationDto : record<LocalizationDto>
{
    text_field stateKey;
    text_map_field localeStates;

    static constexpr auto fields()
    {
        using R = LocalizationDto;
        return std::tuple{field("stateKey", &R::stateKey), field("localeStates", &R::localeStates)};
    }
};

} // namespace tarsion::quorvel::dto
