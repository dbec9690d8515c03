#pragma once

// What text shown on the page must hold, for the fuzzers that look at it:
// the notation of sdk/qt/VisibleText.h and the cuts of view/DisplayText.h
// as their headers describe them, written from those promises rather than
// from the code that keeps them.

#include <algorithm>

#include <QString>
#include <QStringList>
#include <QStringView>

#include "fuzz_check.h"
#include "support/qt/NotationModel.h"
#include "view/DisplayText.h"

namespace fuzz {

using notation::is_hidden;
using notation::rendered;
using notation::splits_pair;

// The notation leaves alone exactly the text with nothing hidden in it; with
// line feeds allowed, line by line, so that the halves of a pair that a line
// feed parts are not taken for the character they would make together.
inline bool shows_nothing_hidden(const QString& shown, bool line_feeds_allowed)
{
    const QStringList lines = line_feeds_allowed ? shown.split(u'\n') : QStringList{shown};
    return std::ranges::all_of(lines, [](const QString& line) { return rendered(line) == line; });
}

// Where "<head>N<tail>" ends `line`, with N added to `reported`; -1 when
// nothing does. Found by hand: a regular expression matches no text that
// holds a lone surrogate.
inline qsizetype before_count(QStringView line, QStringView head, QStringView tail, qsizetype& reported)
{
    const qsizetype at = line.lastIndexOf(head);
    bool number = false;
    const qsizetype count =
        at < 0 || !line.endsWith(tail)
            ? 0
            : line.sliced(at).chopped(tail.size()).sliced(head.size()).toLongLong(&number);
    FUZZ_CHECK(!number || count > 0, "a marker reports at least one character left out");
    reported += number ? count : 0;
    return number ? at : -1;
}

// boundedLines(text, max_line, max_chars) for a `text` with no U+2026 in it,
// so that every ellipsis belongs to a marker: each line shown is the start of
// its line of the text, max_line characters of it (one fewer where that cut
// falls inside a pair), and what is shown and what the markers report add up
// to the whole text.
inline void check_bounded(const QString& text, qsizetype max_line, qsizetype max_chars, bool in_notation)
{
    QString shown = QuorvelChat::boundedLines(text, max_line, max_chars);
    FUZZ_CHECK(!in_notation || shows_nothing_hidden(shown, true), "boundedLines shows nothing hidden raw");
    qsizetype reported = 0;
    const qsizetype last = shown.lastIndexOf(u'\n', -2) + 1;
    if (const qsizetype tail = before_count(QStringView(shown).sliced(last), u"\u2026 ",
                                            u" more characters not shown\n", reported);
        tail == 0) {
        shown.truncate(last);
        FUZZ_CHECK(shown.size() >= max_chars
                       && (shown.isEmpty() || shown.lastIndexOf(u'\n', -2) + 1 < max_chars),
                   "lines are left out once max_chars is reached, and only then");
    }
    QStringList lines;
    for (const QString& line : shown.split(u'\n')) {
        const qsizetype marker = before_count(line, u" \u2026 [", u" more characters]", reported);
        lines << line.first(marker < 0 ? line.size() : marker);
    }
    const QStringList original = text.split(u'\n');
    for (qsizetype i = 0; i + 1 < lines.size() || (i < lines.size() && !lines[i].isEmpty()); ++i) {
        const qsizetype limit = std::min(original.value(i).size(), max_line);
        FUZZ_CHECK(original.value(i).startsWith(lines[i]), "each line shown is the start of its line");
        FUZZ_CHECK(lines[i].size() == limit
                       || (lines[i].size() == limit - 1 && splits_pair(original[i], limit)),
                   "a line keeps max_line characters, one fewer where the cut falls inside a pair");
    }
    FUZZ_CHECK(lines.join(u'\n').size() + reported == text.size(),
               "what is shown and what the markers report add up to the text");
}

} // namespace fuzz
