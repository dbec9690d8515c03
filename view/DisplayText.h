#pragma once

#include <QString>
#include <QStringView>

namespace QuorvelChat {

// Text from the service is untrusted: it may carry line breaks that forge
// lines of the view, terminal escapes, or bidirectional controls that
// reorder what is shown after it. These functions turn it into text that
// shows exactly what was received and nothing more.
//
// Notation, the one JSON and C use: a backslash is shown as "\\", line feed,
// carriage return and tab as "\n", "\r" and "\t", every other C0 control
// and DEL as "\xHH", and C1 controls, the line and paragraph separators and
// the bidirectional controls as "\uHHHH". Everything else is kept as it is.

// True for the characters the notation above escapes (backslash aside).
bool isHiddenControl(char16_t c);

// The whole text in the notation above; `text` itself (shared, not copied)
// when nothing in it needs escaping, which is nearly always.
QString escapeControls(const QString& text);

// The first `maxChars` characters of `text`, escaped, followed by a marker
// saying how many were left out when it was cut. Costs time in proportion to
// `maxChars`, not to the text.
QString escapedPrefix(QStringView text, qsizetype maxChars);

// A multi-line text cut for display: each line to `maxLineChars`, the whole
// to about `maxChars`, with a last line saying how much was left out. Line
// breaks are kept; the text is expected to be escaped line by line already.
QString boundedLines(QStringView text, qsizetype maxLineChars, qsizetype maxChars);

} // namespace QuorvelChat
