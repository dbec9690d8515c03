#include "sdk/core/c_random.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <mutex>

namespace tarsion::random {
namespace {

// rand() has one state per process, so every instance shares one lock.
std::mutex& process_lock()
{
    static std::mutex lock;
    return lock;
}

bool g_seeded = false;

} // namespace

std::int32_t c_random::next(std::int32_t a, std::int32_t b)
{
    const std::int64_t low = std::min(a, b);
    const std::int64_t high = std::max(a, b);
    std::lock_guard guard(process_lock());
    if (!g_seeded) {
        std::srand(static_cast<unsigned>(std::time(nullptr)));
        g_seeded = true;
    }
    const std::int64_t r = std::rand();
    return static_cast<std::int32_t>(low + r % (high - low + 1));
}

} // namespace tarsion::random
