// The notation over every code point, held against its description.
#include <gtest/gtest.h>

#include "sdk/qt/VisibleText.h"
#include "support/qt/NotationModel.h"

namespace QuorvelSdk {
namespace {

TEST(VisibleText, EveryCodePointIsShownAsDescribedWhereverItStands)
{
    for (char32_t c = 0; c <= 0x10FFFF; ++c) {
        // Not QString::fromUcs4, which drops a byte order mark.
        const QString alone = QStringView(QChar::fromUcs4(c)).toString();
        ASSERT_EQ(visibleText("a" + alone + "\u2028"), "a" + notation::rendered(alone) + "\u27E8U+2028\u27E9")
            << uint(c);
    }
}

} // namespace
} // namespace QuorvelSdk
