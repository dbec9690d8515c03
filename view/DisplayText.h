#pragma once

#include <QString>
#include <QStringView>

namespace QuorvelChat {

// Service text cut for the page, shown in the notation of
// sdk/qt/VisibleText.h. Cuts never fall inside a surrogate pair, and say
// exactly how many characters (UTF-16 units) they left out.

// The first `maxChars` characters of `text` in the notation, followed by a
// marker saying how many were left out when it was cut. Costs time in
// proportion to `maxChars`, not to the text.
QString escapedPrefix(QStringView text, qsizetype maxChars);

// A multi-line text cut for display: each line to `maxLineChars`, the whole
// to about `maxChars`, with a last line saying how much was left out. Line
// breaks are kept; the text is expected to be in the notation already,
// line by line.
QString boundedLines(QStringView text, qsizetype maxLineChars, qsizetype maxChars);

} // namespace QuorvelChat
