#pragma once

#include <concepts>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "sdk/json/json_node.h"
#include "sdk/json/uuid.h"

namespace tarsion {

// Anything that writes itself into an object node, as the records do.
template <class T>
concept json_writable = requires(const T& record, json_node& node)
{
    {
        record.to_json(node)
        } -> std::convertible_to<bool>;
};

// Typed adders. Each appends one member to `object` and reports whether the
// object grew by exactly one child.
bool add_string(json_node& object, const char* key, std::string_view text);
bool add_bool(json_node& object, const char* key, bool value);
bool add_int64(json_node& object, const char* key, std::int64_t value);
bool add_uuid(json_node& object, const char* key, const uuid& value);

namespace detail {

inline bool grew_by_one(const json_node& node, std::size_t before) noexcept
{
    return node.child_count() == before + 1;
}

bool add_element(json_node& array, const std::string& text);
bool add_element(json_node& array, const uuid& id);

template <json_writable Record>
bool add_element(json_node& array, const Record& record)
{
    const std::size_t before = array.child_count();
    json_node& object = array.add_object({});
    return grew_by_one(array, before) && record.to_json(object);
}

} // namespace detail

template <json_writable Record>
bool add_record(json_node& object, const char* key, const Record& record)
{
    const std::size_t before = object.child_count();
    json_node& member = object.add_object(key);
    return detail::grew_by_one(object, before) && record.to_json(member);
}

// A list is written as an array under `key`, empty lists as "[]". Every
// element is written even after one fails; the result is false if any did.
template <class T>
bool add_list(json_node& object, const char* key, const std::vector<T>& items)
{
    const std::size_t before = object.child_count();
    json_node& array = object.add_array(key);
    if (!detail::grew_by_one(object, before))
        return false;
    array.children.reserve(items.size());
    bool ok = true;
    for (const T& item : items)
        ok = detail::add_element(array, item) && ok;
    return ok;
}

// A text map is written as an object of string members in the map's order.
bool add_map(json_node& object, const char* key, const std::map<std::string, std::string>& map);

} // namespace tarsion
