// The visible notation (sdk/qt/VisibleText.h) and the view's cuts
// (view/DisplayText.h) over any UTF-16 text, lone and paired surrogates
// included. The first four bytes choose the cut sizes; the rest are the
// text's code units, little-endian.
//
// Properties (fuzz/shown_text.h; the notation's own test holds each code
// point alone to it):
//  - visibleText is the notation as described, so nothing hidden shows raw,
//    and is its input itself when nothing in it changes;
//  - escapedPrefix(text, n) is the first n characters in the notation (n - 1
//    where n falls inside a pair), then a marker counting exactly the rest;
//  - boundedLines, over the raw text and over the text in the notation line
//    by line, cuts each line at its limit and never inside a pair, and what
//    it shows and what its markers report add up to the text.

#include <QString>

#include <cstddef>
#include <cstdint>

#include "fuzz_check.h"
#include "shown_text.h"
#include "sdk/qt/VisibleText.h"
#include "view/DisplayText.h"

namespace {

// Mostly small, where the edge cases are; else anywhere in the text.
qsizetype cut_size(std::uint8_t b, qsizetype size)
{
    return b < 0x80 ? b % 40 : size * (b - 0x80) / 0x70;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 4)
        return 0;
    QString text(qsizetype((size - 4) / 2), Qt::Uninitialized);
    for (qsizetype i = 0; i < text.size(); ++i)
        text[i] = QChar(char16_t(data[4 + 2 * i] | (data[5 + 2 * i] << 8)));

    const QString visible = QuorvelSdk::visibleText(text);
    FUZZ_CHECK(visible == fuzz::rendered(text), "visibleText is the notation as described");
    FUZZ_CHECK(visible != text || visible.constData() == text.constData(), "a text left alone is not copied");

    const qsizetype n = std::min(cut_size(data[0], text.size()), text.size());
    const qsizetype kept = fuzz::splits_pair(text, n) ? n - 1 : n;
    FUZZ_CHECK(QuorvelChat::escapedPrefix(text, cut_size(data[0], text.size()))
                   == fuzz::rendered(QStringView(text).first(kept))
                          + (kept < text.size()
                                 ? QStringLiteral(" \u2026 [%1 more characters]").arg(text.size() - kept)
                                 : QString()),
               "escapedPrefix keeps n characters, never half a pair, and counts the rest exactly");

    // No ellipsis of the text's own may pass for a marker.
    text.replace(QChar(0x2026), QChar(0x2025));
    const qsizetype max_line = cut_size(data[1], text.size());
    const qsizetype max_chars = cut_size(data[2], text.size()) * (data[3] % 8 + 1);
    fuzz::check_bounded(text, max_line, max_chars, false);
    QStringList lines = text.split(u'\n');
    for (QString& line : lines)
        line = QuorvelSdk::visibleText(line);
    fuzz::check_bounded(lines.join(u'\n'), max_line, max_chars, true);
    return 0;
}
