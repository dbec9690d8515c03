#include "sdk/json/json_node.h"

#include <utility>
#include <vector>

namespace tarsion {

json_node::json_node(const json_node& other)
    : key(other.key)
    , value(other.value)
    , quoted(other.quoted)
    , is_array(other.is_array)
    , is_object(other.is_object)
{
    copy_children_from(other);
}

json_node& json_node::operator=(const json_node& other)
{
    if (this != &other) {
        json_node copy(other);
        *this = std::move(copy);
    }
    return *this;
}

json_node& json_node::operator=(json_node&& other) noexcept
{
    if (this == &other)
        return *this;
    // `other` may live inside this node's own subtree: take everything out of
    // it before the old children (and with them `other`) are destroyed.
    json_text new_key = std::move(other.key);
    json_value_text new_value = std::move(other.value);
    const bool new_quoted = other.quoted;
    const bool new_array = other.is_array;
    const bool new_object = other.is_object;
    json_node_list new_children = std::move(other.children);

    destroy_children();
    key = std::move(new_key);
    value = std::move(new_value);
    quoted = new_quoted;
    is_array = new_array;
    is_object = new_object;
    children = std::move(new_children);
    adopt_children();
    return *this;
}

json_node& json_node::add_value(std::string_view child_key, std::string_view text, bool is_quoted)
{
    return append_child(child_key, text, is_quoted, false, false);
}

json_node& json_node::add_array(std::string_view child_key)
{
    return append_child(child_key, {}, true, true, false);
}

json_node& json_node::add_object(std::string_view child_key)
{
    return append_child(child_key, {}, true, false, true);
}

void json_node::set_value(std::string_view text, bool is_quoted)
{
    destroy_children();
    quoted = is_quoted;
    value.assign(text);
    is_array = false;
    is_object = false;
}

void json_node::remove_last_child() noexcept
{
    children.pop_back(); // the node's destructor takes its subtree, iteratively
}

json_node& json_node::append_child(std::string_view child_key, std::string_view text, bool is_quoted,
                                   bool array, bool object)
{
    // The key or text may view a sibling's inline text, which growing the
    // list relocates: when it must grow, copy them first. Growing re-points
    // what must be re-pointed; the siblings' own parent is still this node.
    json_text kept_key;
    json_value_text kept_text;
    if (children.size() == children.capacity()) {
        kept_key.assign(child_key);
        kept_text.assign(text);
        child_key = kept_key;
        text = kept_text;
    }
    json_node& child = children.emplace_back();
    try {
        child.key.assign(child_key);
        child.value.assign(text);
    } catch (...) {
        children.pop_back(); // a failed append adds nothing
        throw;
    }
    child.quoted = is_quoted;
    child.is_array = array;
    child.is_object = object;
    child.parent = this;
    return child;
}

void json_node::destroy_children() noexcept
{
    // Without recursion and without memory of its own: go down to a node
    // whose children are all leaves, free its list, and climb back through
    // `parent`, resuming the scan after the child just emptied. Each list
    // is scanned once in all.
    json_node* node = this;
    json_node* from = children.begin();
    for (;;) {
        json_node* const end = node->children.end();
        json_node* deeper = nullptr;
        for (json_node* child = from; child != end; ++child) {
            if (!child->children.empty()) {
                deeper = child;
                break;
            }
        }
        if (deeper != nullptr) {
            node = deeper;
            from = node->children.begin();
            continue;
        }
        node->children.clear(); // leaves only: no destructor below recurses
        if (node == this)
            return;
        from = node + 1;
        node = node->parent;
    }
}

void json_node::copy_children_from(const json_node& source)
{
    // Depth-first with an explicit stack. Each child list is reserved to its
    // final size before it is filled, so the addresses pushed on the stack
    // stay valid.
    std::vector<std::pair<json_node*, const json_node*>> work;
    work.emplace_back(this, &source);
    while (!work.empty()) {
        auto [target, from] = work.back();
        work.pop_back();
        target->children.reserve(from->children.size());
        for (const json_node& child : from->children) {
            json_node& copy =
                target->append_child(child.key, child.value, child.quoted, child.is_array, child.is_object);
            if (!child.children.empty())
                work.emplace_back(&copy, &child);
        }
    }
}

void json_node::adopt_children() noexcept
{
    for (json_node& child : children)
        child.parent = this;
}

} // namespace tarsion
