#include "sdk/json/json_adders.h"

#include "sdk/json/json_writer.h"

namespace tarsion {
namespace {

bool add_member(json_node& object, const char* key, std::string_view text, bool quoted)
{
    const std::size_t before = object.child_count();
    object.add_value(key, text, quoted);
    return detail::grew_by_one(object, before);
}

} // namespace

bool add_string(json_node& object, const char* key, std::string_view text)
{
    return add_member(object, key, text, true);
}

bool add_bool(json_node& object, const char* key, bool value)
{
    return add_member(object, key, value ? "true" : "false", false);
}

bool add_int64(json_node& object, const char* key, std::int64_t value)
{
    return add_member(object, key, format_int64(value), false);
}

bool add_uuid(json_node& object, const char* key, const uuid& value)
{
    return add_member(object, key, format_uuid(value), true);
}

bool detail::add_element(json_node& array, const std::string& text)
{
    return add_member(array, "", text, true);
}

bool detail::add_element(json_node& array, const uuid& id)
{
    return add_member(array, "", format_uuid(id), true);
}

bool add_map(json_node& object, const char* key, const std::map<std::string, std::string>& map)
{
    const std::size_t before = object.child_count();
    json_node& member = object.add_object(key);
    if (!detail::grew_by_one(object, before))
        return false;
    bool ok = true;
    for (const auto& [entry_key, text] : map)
        ok = add_member(member, entry_key.c_str(), text, true) && ok;
    return ok;
}

} // namespace tarsion
