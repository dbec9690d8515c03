#pragma once

#include <QString>
#include <QStringView>

namespace QuorvelSdk {

// Text from the service is untrusted: it may carry line breaks that forge a
// line of the page or the log, terminal escapes, bidirectional controls
// that reorder what follows them, or invisible characters that make one
// text pass for another ("Sup" + zero-width space + "port" looks like
// "Support"). Wherever such text is shown, on the page or in a log line,
// it goes through this notation first, which changes nothing else: every
// printable character, the backslash included, is shown as it came.
//
// The notation: a C0 control or DEL is shown as its Unicode control picture
// (U+2400 to U+241F, U+2421: a line feed is "␊", a tab "␉"); every other
// control (C1), format character (the bidirectional controls, zero-width
// space, joiners, word joiner, soft hyphen, byte order mark, tag
// characters, ...) and line or paragraph separator as "⟨U+XXXX⟩" with its
// code point.

// True for the characters the notation changes.
bool isHiddenCharacter(char32_t c);

// The whole text in the notation; `text` itself (shared, not copied) when
// nothing in it changes, which is nearly always.
QString visibleText(const QString& text);
// Appends `text` in the notation.
void appendVisible(QString& out, QStringView text);

} // namespace QuorvelSdk
