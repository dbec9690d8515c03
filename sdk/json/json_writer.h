#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "sdk/json/json_node.h"

namespace tarsion {

// Clears `out` and writes the tree: compact (no whitespace at all) or indented
// by four spaces a level. An empty root is written as "[]", "{}" or an empty
// string by its flags. Always returns true.
bool write_json(const json_node& root, std::string& out, bool pretty);

// Appends one node (and its subtree) at the given indentation.
void write_node(const json_node& node, std::string& out, std::size_t indent, bool pretty);

std::string format_int64(std::int64_t n);
void append_int64(std::string& out, std::int64_t n);

// Escapes line feed, tab, carriage return, form feed, backspace, backslash,
// double quote and solidus; every other byte goes out raw.
std::string escape_text(std::string_view text);
void append_escaped(std::string& out, std::string_view text);

} // namespace tarsion
