#pragma once

#include "sdk/core/random_base.h"

namespace tarsion::random {

// The C library's generator behind one process-wide lock, seeded with the
// time on first use. Not for secrets.
class c_random final : public random_base
{
public:
    std::int32_t next(std::int32_t a, std::int32_t b) override;
};

} // namespace tarsion::random
