#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
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

using element_handler = std::function<void(json_node& element)>;

// Reads `text` as parse_json does, but when the root is an array, hands each
// of its elements to `on_element` as soon as the comma or bracket after it has
// been read, in order, and then destroys it: the whole tree never exists at
// once, and each element is still in the cache when it is used. On success
// the root is then an empty array (or, for any other root, what parse_json
// gives). On failure some elements may have been handed over already, and
// what is left in `root` is unspecified.
bool parse_json_elements(const std::string& text, json_node& root, const element_handler& on_element);

// Copies a token's bytes, replacing each backslash pair by the escaped byte
// (b, f, n, r, t mapped to their control bytes, anything else kept).
std::string unescape_text(std::string_view span);
void unescape_into(std::string& out, std::string_view span);
// For the node's keys and values (16 and 24 bytes).
template <std::size_t Bytes>
void unescape_into(basic_json_text<Bytes>& out, std::string_view span);

// First child whose key matches; the case-insensitive form folds only the
// ASCII letters A to Z.
const json_node* find_child(const json_node& node, std::string_view key, bool case_sensitive) noexcept;

// For every key, what find_child(node, key, false) gives, in one pass over
// the children: cheap when the members come in the keys' order, as a record's
// do. The keys must differ from one another ignoring ASCII case; `found`
// has one slot per key.
void find_children(const json_node& node, std::span<const std::string_view> keys,
                   std::span<const json_node*> found) noexcept;

// Equality that folds only the ASCII letters A to Z.
constexpr bool equals_ignoring_ascii_case(std::string_view a, std::string_view b) noexcept
{
    if (a.size() != b.size())
        return false;
    // Keys nearly always come spelled as expected; one block compare settles
    // those without folding byte by byte.
    if (a == b)
        return true;
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (lower(a[i]) != lower(b[i]))
            return false;
    }
    return true;
}

// Optional "-" and decimal digits only, within the signed 64-bit range.
bool parse_int64(std::string_view text, std::int64_t& out) noexcept;

} // namespace tarsion
