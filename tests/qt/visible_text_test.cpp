// The notation over every code point, held against its description.
#include <gtest/gtest.h>

#include "sdk/qt/VisibleText.h"
#include "support/qt/NotationModel.h"

namespace QuorvelSdk {
namespace {

TEST(VisibleText, EveryCodePointIsShownAsDescribedWhereverItStands)
{
    for (char32_t c = 0; c <= 0x10FFFF; ++c) {
        // Unit by unit: QString::fromUcs4 would drop a byte order mark.
        const bool pair = QChar::requiresSurrogates(c);
        const QChar units[] = {pair ? QChar(QChar::highSurrogate(c)) : QChar(char16_t(c)),
                               QChar(QChar::lowSurrogate(c))};
        const QString alone(units, pair ? 2 : 1);
        ASSERT_EQ(visibleText("a" + alone + "\u2028"), "a" + notation::rendered(alone) + "\u27E8U+2028\u27E9")
            << uint(c);
    }
}

} // namespace
} // namespace QuorvelSdk
