#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "sdk/json/json_node.h"

namespace tarsion {

// Reads `text` into `root`, which must be fresh. The reader is lenient by
// design (trailing commas, unquoted keys, closing brackets not matched against
// their openers, bytes from 0x80 up skipped between tokens) and silent: it
// reports only success. Scalars are kept as their text; `\u` escapes are
// decoded to UTF-8 before parsing, unless one of them is malformed, in which
// case none is. A zero byte ends the text.
bool parse_json(const std::string& text, json_node& root);

// Copies a token's bytes, replacing each backslash pair by the escaped byte
// (b, f, n, r, t mapped to their control bytes, anything else kept).
std::string unescape_text(std::string_view span);
void unescape_into(std::string& out, std::string_view span);

// First child whose key matches; the case-insensitive form folds only the
// ASCII letters A to Z.
const json_node* find_child(const json_node& node, std::string_view key, bool case_sensitive) noexcept;

// Optional "-" and decimal digits only, within the signed 64-bit range.
bool parse_int64(std::string_view text, std::int64_t& out) noexcept;

} // namespace tarsion
