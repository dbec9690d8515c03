#pragma once

#include <cstdint>
#include <string>

#include "sdk/core/header_list.h"

namespace tarsion {

struct http_response
{
    // 0 until a reply with a status has been read.
    std::uint32_t status = 0;
    std::string body;
    // As received: in order, duplicates kept, names as the server wrote them.
    http::header_list headers;
};

} // namespace tarsion
