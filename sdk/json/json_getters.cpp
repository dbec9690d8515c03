#include "sdk/json/json_getters.h"

#include "sdk/json/json_reader.h"

namespace tarsion {

const json_node* member_or_self(const json_node& node, const char* key) noexcept
{
    if (key == nullptr || *key == 0)
        return &node;
    return find_child(node, key, false);
}

bool get_string(const json_node& node, const char* key, std::string& out)
{
    const json_node* member = member_or_self(node, key);
    if (member == nullptr)
        return false;
    out = member->value;
    return true;
}

bool get_int64(const json_node& node, const char* key, std::int64_t& out) noexcept
{
    out = 0;
    const json_node* member = member_or_self(node, key);
    return member != nullptr && parse_int64(member->value, out);
}

bool get_bool(const json_node& node, const char* key, bool& out) noexcept
{
    out = false;
    const json_node* member = member_or_self(node, key);
    if (member == nullptr)
        return false;
    if (member->value == "true") {
        out = true;
        return true;
    }
    return member->value == "false";
}

bool get_uuid(const json_node& node, const char* key, uuid& out) noexcept
{
    out = {};
    const json_node* member = member_or_self(node, key);
    return member != nullptr && parse_uuid(member->value, out);
}

bool get_map(const json_node& node, const char* key, std::map<std::string, std::string>& out)
{
    out.clear();
    const json_node* member = member_or_self(node, key);
    if (member == nullptr)
        return false;
    for (const json_node& child : member->children)
        out.insert_or_assign(child.key.str(), child.value.str());
    return true;
}

} // namespace tarsion
