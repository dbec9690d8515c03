#pragma once

#include <string>
#include <string_view>

namespace tarsion::detail {

// The reader's pre-pass: turns every `\uXXXX` escape of the text (strings or
// not, and without regard to escaped backslashes) into UTF-8, surrogate pairs
// into one four-byte sequence. Code units that JSON must keep escaped (quote,
// backslash and the five named control bytes) become their two-character
// escape, so the tokenizer still sees them as escaped.
//
// Returns false, leaving `out` untouched, when the text has no `\u` escape or
// when any of them is malformed (fewer than four hexadecimal digits, or a high
// surrogate not followed directly by an escaped low one); the text is then
// parsed as it stands.
bool decode_unicode_escapes(std::string_view text, std::string& out);

} // namespace tarsion::detail
