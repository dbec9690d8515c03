#pragma once

// The page's notation for hidden characters and its cuts, as
// sdk/qt/VisibleText.h describes them, written from that description rather
// than from the code that keeps it: the reference the notation's test and
// the fuzzers that look at shown text are held to.

#include <QChar>
#include <QString>
#include <QStringView>

namespace notation {

// Controls, format characters and line and paragraph separators, by Qt's
// table of Unicode categories.
inline bool is_hidden(char32_t c)
{
    const QChar::Category category = QChar::category(c);
    return category == QChar::Other_Control || category == QChar::Other_Format
           || category == QChar::Separator_Line || category == QChar::Separator_Paragraph;
}

// True when a cut after `kept` units falls between the halves of a pair.
inline bool splits_pair(QStringView text, qsizetype kept)
{
    return kept > 0 && kept < text.size() && text[kept - 1].isHighSurrogate() && text[kept].isLowSurrogate();
}

// `text` in the notation: a C0 control or DEL as its control picture, every
// other hidden character as "⟨U+XXXX⟩", everything else, lone surrogates
// included, as it came.
inline QString rendered(QStringView text)
{
    QString out;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const bool pair = splits_pair(text, i + 1);
        const char32_t c = pair ? QChar::surrogateToUcs4(text[i], text[i + 1]) : text[i].unicode();
        if (c < 0x20 || c == 0x7F)
            out += QChar(char16_t(c == 0x7F ? 0x2421 : 0x2400 + c));
        else if (is_hidden(c))
            out += u'\u27E8' + QStringLiteral("U+%1").arg(uint(c), 4, 16, QLatin1Char('0')).toUpper()
                   + u'\u27E9';
        else
            out += text.sliced(i, pair ? 2 : 1);
        i += pair ? 1 : 0;
    }
    return out;
}

} // namespace notation
