#pragma once

#include <cstddef>
#include <cstdint>

namespace tarsion {

struct json_node;

// The children of a node: a vector of nodes in one heap block that carries
// its own size and capacity, so that the list takes one pointer in its node,
// and a node without children allocates nothing.
//
// Nodes are relocated as memory (their texts and lists hold no pointer into
// themselves), so a list grows by realloc, which moves a large block by
// remapping its pages rather than copying them. Relocation only has to
// re-point the `parent` of the children of each relocated node.
//
// Copying is not offered: a copy of a tree is deep and iterative, which is
// the node's business. Destroying the elements is the node's business too,
// for the same reason: the list's destructor frees the block and destroys
// each element, whose own children the node destroys without recursion.
class json_node_list
{
public:
    using value_type = json_node;
    using iterator = json_node*;
    using const_iterator = const json_node*;

    json_node_list() noexcept = default;
    json_node_list(json_node_list&& other) noexcept : block_(other.block_) { other.block_ = nullptr; }
    json_node_list& operator=(json_node_list&& other) noexcept;
    json_node_list(const json_node_list&) = delete;
    json_node_list& operator=(const json_node_list&) = delete;
    ~json_node_list() { clear(); }

    std::size_t size() const noexcept { return block_ == nullptr ? 0 : block_->size; }
    std::size_t capacity() const noexcept { return block_ == nullptr ? 0 : block_->capacity; }
    bool empty() const noexcept { return size() == 0; }

    // Defined with json_node, which they need complete.
    json_node* data() noexcept;
    const json_node* data() const noexcept;
    json_node* begin() noexcept { return data(); }
    const json_node* begin() const noexcept { return data(); }
    json_node* end() noexcept;
    const json_node* end() const noexcept;
    json_node& operator[](std::size_t i) noexcept;
    const json_node& operator[](std::size_t i) const noexcept;
    json_node& front() noexcept { return *data(); }
    const json_node& front() const noexcept { return *data(); }
    json_node& back() noexcept;
    const json_node& back() const noexcept;

    // Room for `n` elements; relocates the existing ones if it must.
    void reserve(std::size_t n);
    // Appends a fresh node (no parent set) and returns it; may relocate.
    json_node& emplace_back();
    void pop_back() noexcept;
    // Destroys every element and frees the block.
    void clear() noexcept;

    // Relocates the elements of `from` from index `first` on to the end of
    // this list, in order, and shortens `from` to `first`: no element is
    // constructed or destroyed. Their `parent` is left as it was.
    void take_tail(json_node_list& from, std::size_t first);

private:
    struct header
    {
        std::uint32_t size;
        std::uint32_t capacity;
    };

    static json_node* items(header* block) noexcept;
    static const json_node* items(const header* block) noexcept;
    void grow_to(std::size_t capacity);

    header* block_ = nullptr;
};

static_assert(sizeof(json_node_list) == sizeof(void*));

} // namespace tarsion
