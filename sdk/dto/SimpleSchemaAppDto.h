#pragma once

#include "sdk/dto/record.h"

namespace tarsion::quorvel::dto {

// A reference to a schema application.
struct SimpleSchemaAppDto : record<SimpleSchemaAppDto>
{
    text_field key;
    text_field version;

    static constexpr auto fields()
    {
        using R = SimpleSchemaAppDto;
        return std::tuple{field("key", &R::key), field("version", &R::version)};
    }
};

} // namespace tarsion::quorvel::dto
