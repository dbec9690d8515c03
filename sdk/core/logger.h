#pragma once

#include <cstdint>
#include <string>

namespace tarsion {

// Receives the SDK's exchange log. Level 0 carries request and outcome lines,
// level 1 request bodies.
class logger
{
public:
    virtual ~logger() = default;
    virtual void write(std::uint32_t level, const std::string& tag, const std::string& text) = 0;
};

} // namespace tarsion
