#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "sdk/json/json_node_list.h"
#include "sdk/json/json_text.h"

namespace tarsion {

// One node of the SDK's JSON tree. There is no kind enumeration: a string is a
// quoted scalar, a number or literal an unquoted one, and a node with children
// is an array when its value is empty and `is_array` is set, otherwise an
// object.
//
// `parent` points at the node whose `children` hold this one (null for a
// root). It stays valid across every operation below, including copies and
// moves of whole trees, so children must only be added through add_value,
// add_array and add_object. Destroying climbs through `parent`, so it must
// hold. Copying, destroying and writing are iterative: depth is bounded by
// memory, not by the stack.
struct json_node
{
    json_text key;
    json_value_text value;
    bool quoted = true;
    bool is_array = false;
    bool is_object = false;
    json_node* parent = nullptr;
    json_node_list children;

    json_node() = default;
    // A copy is a new root: its parent is null.
    json_node(const json_node& other);
    // A moved-to node is a new root too (its parent is null); its children
    // now point at it.
    json_node(json_node&& other) noexcept
        : key(std::move(other.key))
        , value(std::move(other.value))
        , quoted(other.quoted)
        , is_array(other.is_array)
        , is_object(other.is_object)
        , children(std::move(other.children))
    {
        if (!children.empty())
            adopt_children();
    }
    // Assignment replaces the content and keeps this node's place in its tree.
    json_node& operator=(const json_node& other);
    json_node& operator=(json_node&& other) noexcept;
    // Inline because child lists destroy their nodes one by one and most
    // nodes have no children.
    ~json_node()
    {
        if (!children.empty())
            destroy_children();
    }

    json_node& add_value(std::string_view child_key, std::string_view text, bool is_quoted);
    json_node& add_array(std::string_view child_key);
    json_node& add_object(std::string_view child_key);

    // Makes this node a scalar and destroys its children; the key stays.
    void set_value(std::string_view text, bool is_quoted);

    std::size_t child_count() const noexcept { return children.size(); }

    // Removes and destroys the last child, if any.
    void remove_last_child() noexcept;

private:
    json_node& append_child(std::string_view child_key, std::string_view text, bool is_quoted, bool array,
                            bool object);
    void destroy_children() noexcept;
    void copy_children_from(const json_node& source);
    void adopt_children() noexcept;
};

inline json_node* json_node_list::items(header* block) noexcept
{
    return reinterpret_cast<json_node*>(block + 1);
}
inline const json_node* json_node_list::items(const header* block) noexcept
{
    return reinterpret_cast<const json_node*>(block + 1);
}
inline json_node* json_node_list::data() noexcept
{
    return block_ == nullptr ? nullptr : items(block_);
}
inline const json_node* json_node_list::data() const noexcept
{
    return block_ == nullptr ? nullptr : items(block_);
}
inline json_node* json_node_list::end() noexcept
{
    return block_ == nullptr ? nullptr : items(block_) + block_->size;
}
inline const json_node* json_node_list::end() const noexcept
{
    return block_ == nullptr ? nullptr : items(block_) + block_->size;
}
inline json_node& json_node_list::operator[](std::size_t i) noexcept
{
    return items(block_)[i];
}
inline const json_node& json_node_list::operator[](std::size_t i) const noexcept
{
    return items(block_)[i];
}

inline json_node& json_node_list::back() noexcept
{
    return end()[-1];
}
inline const json_node& json_node_list::back() const noexcept
{
    return end()[-1];
}

} // namespace tarsion
