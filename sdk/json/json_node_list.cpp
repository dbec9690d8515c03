#include "sdk/json/json_node_list.h"

#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <stdexcept>

#include "sdk/json/json_node.h"

namespace tarsion {
namespace {

// The children of each node in [first, last) point at where the node was;
// after a relocation they must point at where it is.
void readopt(json_node* first, json_node* last) noexcept
{
    for (json_node* node = first; node != last; ++node) {
        for (json_node& child : node->children)
            child.parent = node;
    }
}

// By half: the readoption after a block moves is linear in its size, so
// smaller steps cost more than the capacity they save.
std::size_t grown_capacity(std::size_t n) noexcept
{
    return n < 4 ? 4 : n + n / 2;
}

} // namespace

json_node_list& json_node_list::operator=(json_node_list&& other) noexcept
{
    if (this != &other) {
        clear();
        block_ = other.block_;
        other.block_ = nullptr;
    }
    return *this;
}

void json_node_list::grow_to(std::size_t capacity)
{
    constexpr std::size_t kMax =
        (std::numeric_limits<std::size_t>::max() - sizeof(header)) / sizeof(json_node);
    if (capacity > std::numeric_limits<std::uint32_t>::max() || capacity > kMax)
        throw std::length_error("too many JSON children");
    json_node* const before = data();
    // Nodes are relocatable (see the class comment), so realloc may move
    // them; nothing else points at them while the list grows but their own
    // children, fixed below.
    void* const grown =
        std::realloc(static_cast<void*>(block_), sizeof(header) + capacity * sizeof(json_node));
    if (grown == nullptr)
        throw std::bad_alloc();
    if (block_ == nullptr)
        static_cast<header*>(grown)->size = 0;
    block_ = static_cast<header*>(grown);
    block_->capacity = static_cast<std::uint32_t>(capacity);
    if (before != nullptr && before != items(block_))
        readopt(items(block_), items(block_) + block_->size);
}

void json_node_list::reserve(std::size_t n)
{
    if (n > capacity())
        grow_to(n);
}

json_node& json_node_list::emplace_back()
{
    const std::size_t n = size();
    if (n == capacity())
        grow_to(grown_capacity(n));
    json_node* const slot = items(block_) + n;
    new (slot) json_node();
    block_->size = static_cast<std::uint32_t>(n + 1);
    return *slot;
}

void json_node_list::pop_back() noexcept
{
    if (empty())
        return;
    back().~json_node();
    --block_->size;
}

void json_node_list::clear() noexcept
{
    if (block_ == nullptr)
        return;
    for (json_node& node : *this)
        node.~json_node();
    std::free(block_);
    block_ = nullptr;
}

void json_node_list::take_tail(json_node_list& from, std::size_t first)
{
    const std::size_t n = from.size() - first;
    if (n == 0)
        return;
    const std::size_t before = size();
    reserve(before + n);
    json_node* const target = items(block_) + before;
    std::memcpy(static_cast<void*>(target), static_cast<const void*>(from.data() + first),
                n * sizeof(json_node));
    from.block_->size = static_cast<std::uint32_t>(first);
    block_->size = static_cast<std::uint32_t>(before + n);
    readopt(target, target + n);
}

} // namespace tarsion
