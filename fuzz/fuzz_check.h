#pragma once

#include <cstdio>
#include <cstdlib>
#include <string_view>

// A violated property must stop the run where libFuzzer can see it: an abort
// is reported as a crash and the input is saved as the reproducer.
#define FUZZ_CHECK(condition, what)                                                                          \
    do {                                                                                                     \
        if (!(condition))                                                                                    \
            ::fuzz::fail(__FILE__, __LINE__, #condition, what);                                              \
    } while (false)

namespace fuzz {

[[noreturn]] inline void fail(const char* file, int line, const char* condition, std::string_view what)
{
    std::fprintf(stderr, "\n%s:%d: property violated: %.*s\n  check: %s\n", file, line,
                 static_cast<int>(what.size()), what.data(), condition);
    std::abort();
}

} // namespace fuzz
