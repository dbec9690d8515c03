#include "sdk/core/random_base.h"

namespace tarsion::random {

std::string random_base::uuid()
{
    static constexpr char kDigits[] = "0123456789abcdef";
    static constexpr char kVariant[] = "89ab";
    std::string text(36, '-');
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (i == 8 || i == 13 || i == 18 || i == 23)
            continue;
        if (i == 14)
            text[i] = '4';
        else if (i == 19)
            text[i] = kVariant[next(0, 3)];
        else
            text[i] = kDigits[next(0, 15)];
    }
    return text;
}

} // namespace tarsion::random
