#pragma once

#include <cstdint>
#include <string>

namespace tarsion::random {

class random_base
{
public:
    virtual ~random_base() = default;
    // A value in the closed range between min(a, b) and max(a, b).
    virtual std::int32_t next(std::int32_t a, std::int32_t b) = 0;
    // A version-4-shaped identifier: 8-4-4-4-12 lower-case hexadecimal digits,
    // the third group starting with "4" and the fourth with one of "89ab".
    std::string uuid();
};

} // namespace tarsion::random
