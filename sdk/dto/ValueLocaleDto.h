#pragma once

#include "sdk/dto/record.h"

namespace tarsion::quorvel::dto {

// One localized form of an attribute value; `key` is the locale.
struct ValueLocaleDto : record<ValueLocaleDto>
{
    text_field key;
    text_field display;
    text_field value;

    static constexpr auto fields()
    {
        using R = ValueLocaleDto;
        return std::tuple{field("key", &R::key), field("display", &R::display), field("value", &R::value)};
    }
};

} // namespace tarsion::quorvel::dto
