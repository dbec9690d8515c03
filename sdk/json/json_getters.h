#pragma once

#include <concepts>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "sdk/json/json_node.h"
#include "sdk/json/uuid.h"

namespace tarsion {

// Anything that reads itself from an object node, as the records do.
template <class T>
concept json_readable = requires(T& record, const json_node& node)
{
    {
        record.from_json(node)
        } -> std::convertible_to<bool>;
};

// The member `key` of `node` under the case-insensitive lookup, or the node
// itself when `key` is null or empty.
const json_node* member_or_self(const json_node& node, const char* key) noexcept;

// Typed getters. Each reports whether the member exists and could be read.
bool get_string(const json_node& node, const char* key, std::string& out);
// `out` is 0 after any failure.
bool get_int64(const json_node& node, const char* key, std::int64_t& out) noexcept;
// `out` is false unless the text is exactly "true".
bool get_bool(const json_node& node, const char* key, bool& out) noexcept;
// `out` is nil after any failure.
bool get_uuid(const json_node& node, const char* key, uuid& out) noexcept;

template <json_readable Record>
bool get_record(const json_node& node, const char* key, Record& out)
{
    const json_node* member = member_or_self(node, key);
    return member != nullptr && out.from_json(*member);
}

namespace detail {

inline bool get_element(const json_node& node, std::string& out)
{
    return get_string(node, nullptr, out);
}
inline bool get_element(const json_node& node, uuid& out) noexcept
{
    return get_uuid(node, nullptr, out);
}
template <json_readable Record>
bool get_element(const json_node& node, Record& out)
{
    return out.from_json(node);
}

} // namespace detail

// Reads every child of the member as an element (arrays and objects alike).
// A failed element stays in the list and makes the result false, but the
// remaining elements are still read.
template <class T>
bool get_list(const json_node& node, const char* key, std::vector<T>& out)
{
    out.clear();
    const json_node* member = member_or_self(node, key);
    if (member == nullptr)
        return false;
    out.reserve(member->children.size());
    bool ok = true;
    for (const json_node& child : member->children)
        ok = detail::get_element(child, out.emplace_back()) && ok;
    return ok;
}

// Each member of the object becomes an entry; a later duplicate key
// overwrites an earlier one.
bool get_map(const json_node& node, const char* key, std::map<std::string, std::string>& out);

} // namespace tarsion
