#include "sdk/qt/VisibleText.h"

#include <algorithm>

namespace QuorvelSdk {
namespace {

constexpr char16_t kFirstPicture = 0x2400;
constexpr char16_t kDeletePicture = 0x2421;

void appendCodePoint(QString& out, char32_t c)
{
    if (c < 0x20) {
        out += QChar(char16_t(kFirstPicture + c));
        return;
    }
    if (c == 0x7F) {
        out += QChar(kDeletePicture);
        return;
    }
    if (isHiddenCharacter(c)) {
        out += QChar(u'\u27E8');
        out += QStringLiteral("U+%1").arg(uint(c), 4, 16, QLatin1Char('0')).toUpper();
        out += QChar(u'\u27E9');
        return;
    }
    if (QChar::requiresSurrogates(c)) {
        out += QChar(QChar::highSurrogate(c));
        out += QChar(QChar::lowSurrogate(c));
    } else {
        out += QChar(char16_t(c));
    }
}

// The code point at `at`, and how many units it takes.
std::pair<char32_t, qsizetype> codePointAt(QStringView text, qsizetype at)
{
    const QChar unit = text[at];
    if (unit.isHighSurrogate() && at + 1 < text.size() && text[at + 1].isLowSurrogate())
        return {QChar::surrogateToUcs4(unit, text[at + 1]), 2};
    return {unit.unicode(), 1};
}

} // namespace

bool isHiddenCharacter(char32_t c)
{
    // Printable ASCII first: nearly every character asked about is one.
    if (c >= 0x20 && c < 0x7F)
        return false;
    switch (QChar::category(c)) {
    case QChar::Other_Control:
    case QChar::Other_Format:
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph: return true;
    default: return false;
    }
}

void appendVisible(QString& out, QStringView text)
{
    for (qsizetype at = 0; at < text.size();) {
        const auto [c, units] = codePointAt(text, at);
        appendCodePoint(out, c);
        at += units;
    }
}

QString visibleText(const QString& text)
{
    qsizetype first = 0;
    while (first < text.size()) {
        const auto [c, units] = codePointAt(text, first);
        if (isHiddenCharacter(c))
            break;
        first += units;
    }
    if (first == text.size())
        return text;
    QString out;
    out.reserve(text.size() + 16);
    out += QStringView(text).first(first);
    appendVisible(out, QStringView(text).sliced(first));
    return out;
}

} // namespace QuorvelSdk
