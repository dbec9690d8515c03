#include "sdk/json/json_writer.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <exception>
#include <vector>

#include "sdk/json/detail/byte_words.h"
#include "sdk/json/detail/compiler.h"

namespace tarsion {
namespace {

constexpr std::array<char, 256> make_escape_table()
{
    std::array<char, 256> table{};
    table['\b'] = 'b';
    table['\t'] = 't';
    table['\n'] = 'n';
    table['\f'] = 'f';
    table['\r'] = 'r';
    table['"'] = '"';
    table['/'] = '/';
    table['\\'] = '\\';
    return table;
}
constexpr std::array<char, 256> kEscape = make_escape_table();

char escape_of(char c) noexcept
{
    return kEscape[static_cast<unsigned char>(c)];
}

constexpr char kDigitPairs[] =
    "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
    "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
    "8081828384858687888990919293949596979899";

unsigned count_digits(std::uint64_t v) noexcept
{
    // Four digits at a time against successive powers of ten.
    unsigned digits = 1;
    for (;;) {
        if (v < 10)
            return digits;
        if (v < 100)
            return digits + 1;
        if (v < 1000)
            return digits + 2;
        if (v < 10000)
            return digits + 3;
        v /= 10000;
        digits += 4;
    }
}

// ---------------------------------------------------------------------------
// Eight bytes at a time: a word is copied as a whole unless one of its bytes
// may need an escape.

using detail::byte_words::clean_prefix;
using detail::byte_words::kHighBits;
using detail::byte_words::kOnes;
using detail::byte_words::load;

// Every byte looked for lies below 0x80, so a byte whose high bit is set is
// never one of them, and `~w & kHighBits` is shared by all the tests: a byte
// is below 0x0E when subtracting 0x0E from it sets its high bit, and equal to
// `c` when subtracting 1 from it xor `c` does.
//
// The five control bytes with a short escape all lie below 0x0E; the other
// bytes down there (0x00 to 0x07, 0x0B) are flagged too and then found clean
// one at a time, which costs little because they are rare in real text.
constexpr std::uint64_t escape_candidates(std::uint64_t w) noexcept
{
    const std::uint64_t borrows = (w - kOnes * 0x0E) | ((w ^ (kOnes * '"')) - kOnes)
                                  | ((w ^ (kOnes * '/')) - kOnes) | ((w ^ (kOnes * '\\')) - kOnes);
    return borrows & ~w & kHighBits;
}

// The `n` (1 to 7) bytes at `s`, in memory order, padded with spaces, which
// never need an escape. Only the `n` bytes are read.
std::uint64_t load_short(const char* s, std::size_t n) noexcept
{
    constexpr std::uint64_t kSpaces = kOnes * ' ';
    if constexpr (std::endian::native == std::endian::little) {
        std::uint64_t w;
        if (n >= 4) {
            // Two overlapping four-byte loads; the bytes they share agree.
            std::uint32_t head;
            std::uint32_t tail;
            std::memcpy(&head, s, 4);
            std::memcpy(&tail, s + n - 4, 4);
            w = head | (static_cast<std::uint64_t>(tail) << (8 * (n - 4)));
        } else if (n >= 2) {
            std::uint16_t head;
            std::uint16_t tail;
            std::memcpy(&head, s, 2);
            std::memcpy(&tail, s + n - 2, 2);
            w = head | (static_cast<std::uint64_t>(tail) << (8 * (n - 2)));
        } else {
            w = static_cast<unsigned char>(*s);
        }
        return w | (kSpaces << (8 * n));
    } else {
        char bytes[8];
        std::memcpy(bytes, &kSpaces, 8);
        std::memcpy(bytes, s, n);
        return load(bytes);
    }
}

// First byte of [s, end) that needs an escape, or `end`.
const char* find_escape(const char* s, const char* const end) noexcept
{
    while (end - s >= 8) {
        const std::uint64_t candidates = escape_candidates(load(s));
        if (candidates == 0) {
            s += 8;
            continue;
        }
        s += clean_prefix(candidates);
        if (escape_of(*s) != 0)
            return s;
        ++s;
    }
    for (; s != end; ++s) {
        if (escape_of(*s) != 0)
            return s;
    }
    return end;
}

// ---------------------------------------------------------------------------
// The compact form, written through a raw pointer. Each step (one node, or
// one closing bracket) is checked once against room for its worst case, and
// the stores inside it go unchecked; the whole words stored by `put_escaped`
// may run up to kSlack bytes past the text they carry.

constexpr std::size_t kSlack = 8;
// Enough for a typical request body in one allocation.
constexpr std::size_t kFirstCapacity = 16 * 1024;
constexpr std::size_t kLine = 64; // bytes in a cache line, for prefetching

// Worst case of one node: key and value with every byte escaped, two quotes
// and a colon after the key, two quotes or brackets for the value, a comma.
std::size_t node_bound(const json_node& node) noexcept
{
    return 2 * (node.key.size() + node.value.size()) + 8;
}

QUORVEL_ALWAYS_INLINE char* put_escaped(char* out, std::string_view text) noexcept
{
    const char* s = text.data();
    const char* const end = s + text.size();
    for (;;) {
        const std::size_t left = static_cast<std::size_t>(end - s);
        std::uint64_t w;
        if (left >= 8) {
            w = load(s);
        } else {
            if (left == 0)
                return out;
            w = load_short(s, left);
        }
        std::memcpy(out, &w, 8);
        const std::uint64_t candidates = escape_candidates(w);
        if (candidates == 0) {
            if (left <= 8)
                return out + left;
            out += 8;
            s += 8;
            continue;
        }
        // The padding never needs an escape, so the flagged byte is real.
        const std::size_t clean = clean_prefix(candidates);
        out += clean;
        s += clean;
        const char escaped = escape_of(*s);
        if (escaped != 0) {
            out[0] = '\\';
            out[1] = escaped;
            out += 2;
        } else {
            *out++ = *s;
        }
        ++s;
    }
}

char* put_key(char* out, const json_node& node) noexcept
{
    if (node.key.empty())
        return out;
    *out++ = '"';
    out = put_escaped(out, node.key);
    out[0] = '"';
    out[1] = ':';
    return out + 2;
}

bool writes_as_array(const json_node& node) noexcept
{
    return node.value.empty() && node.is_array;
}

// A node without children.
char* put_leaf(char* out, const json_node& node) noexcept
{
    if (node.value.empty()) {
        if (node.is_array) {
            out[0] = '[';
            out[1] = ']';
            return out + 2;
        }
        if (node.is_object) {
            out[0] = '{';
            out[1] = '}';
            return out + 2;
        }
    }
    if (!node.quoted) {
        std::memcpy(out, node.value.data(), node.value.size());
        return out + node.value.size();
    }
    *out++ = '"';
    out = put_escaped(out, node.value);
    *out++ = '"';
    return out;
}

// Walks the tree depth first without recursion, so that a deeply nested tree
// cannot exhaust the thread's stack. Writing stops before a step that might
// not fit below the limit it is given, and resumes from there once the caller
// has made room.
class compact_writer
{
public:
    // Writes the key and the opening bracket of `node` or, when it has no
    // children, all of it. Needs room for node_bound(node).
    char* start(char* out, const json_node& node)
    {
        out = put_key(out, node);
        if (node.children.empty())
            return put_leaf(out, node);
        return open(out, node);
    }

    bool done() const noexcept { return stack_.empty(); }

    // Room the next step needs at most.
    std::size_t next_need() const noexcept
    {
        const open_container& top = stack_.back();
        return top.next == top.end ? 2 : node_bound(*top.next);
    }

    // Writes steps while the next one fits below `limit`.
    char* resume(char* out, const char* const limit)
    {
        while (!stack_.empty()) {
            open_container& top = stack_.back();
            if (top.next == top.end) {
                if (limit - out < 2)
                    return out;
                *out++ = top.close;
                stack_.pop_back();
                if (!stack_.empty() && stack_.back().next != stack_.back().end)
                    *out++ = ',';
                continue;
            }
            const json_node& child = *top.next;
            if (static_cast<std::size_t>(limit - out) < node_bound(child))
                return out;
            ++top.next;
            prefetch_ahead(top);
            out = put_key(out, child);
            if (!child.children.empty()) {
                out = open(out, child); // may invalidate `top`
                continue;
            }
            out = put_leaf(out, child);
            if (top.next != top.end)
                *out++ = ',';
        }
        return out;
    }

private:
    struct open_container
    {
        const json_node* next;
        const json_node* end;
        char close;
    };

    // The tree is far larger than the caches, and a walk that waits for each
    // node in turn spends most of its time stalled. The nodes of a child list
    // are requested a fixed distance ahead (all at once when the list is
    // opened), and what a node points to (its child list, text on the heap)
    // a little later, once the node itself has arrived.
    static constexpr std::ptrdiff_t kNodeAhead = 8;
    static constexpr std::ptrdiff_t kDataAhead = 4;

    static void prefetch_ahead(const open_container& top) noexcept
    {
        const std::ptrdiff_t left = top.end - top.next;
        if (left > kNodeAhead) {
            const char* const node = reinterpret_cast<const char*>(top.next + kNodeAhead);
            detail::compiler::prefetch(node);
            detail::compiler::prefetch(node + kLine);
        }
        if (left > kDataAhead) {
            const json_node& node = top.next[kDataAhead];
            detail::compiler::prefetch(node.children.data());
            detail::compiler::prefetch(node.value.data());
        }
    }

    char* open(char* out, const json_node& container)
    {
        const bool array = writes_as_array(container);
        *out++ = array ? '[' : '{';
        const json_node* const first = container.children.data();
        const json_node* const end = first + container.children.size();
        const char* const from = reinterpret_cast<const char*>(first);
        const char* const to =
            reinterpret_cast<const char*>(end - first > kNodeAhead ? first + kNodeAhead : end);
        for (const char* line = from; line < to; line += kLine)
            detail::compiler::prefetch(line);
        stack_.push_back({first, end, array ? ']' : '}'});
        return out;
    }

    std::vector<open_container> stack_;
};

// ---------------------------------------------------------------------------
// The indented form appends to the string piece by piece: it is for people
// to read, and its size depends on the depth, which the bound above ignores.

void append_indent(std::string& out, std::size_t indent)
{
    out.append(indent, ' ');
}

void append_key(std::string& out, const json_node& node)
{
    if (node.key.empty())
        return;
    out.push_back('"');
    append_escaped(out, node.key);
    out.append("\": ", 3);
}

// Writes a node that has no children; returns false when it has some.
bool append_leaf(std::string& out, const json_node& node)
{
    if (!node.children.empty())
        return false;
    if (node.value.empty() && node.is_array)
        out.append("[]", 2);
    else if (node.value.empty() && node.is_object)
        out.append("{}", 2);
    else if (!node.quoted)
        out.append(node.value);
    else {
        out.push_back('"');
        append_escaped(out, node.value);
        out.push_back('"');
    }
    return true;
}

void append_indented(const json_node& node, std::string& out, std::size_t indent)
{
    append_key(out, node);
    if (append_leaf(out, node))
        return;

    struct open_container
    {
        const json_node* node;
        std::size_t next_child;
        std::size_t indent;
    };
    std::vector<open_container> stack;
    out.push_back(writes_as_array(node) ? '[' : '{');
    out.push_back('\n');
    stack.push_back({&node, 0, indent});

    while (!stack.empty()) {
        open_container& top = stack.back();
        const json_node_list& children = top.node->children;
        if (top.next_child == children.size()) {
            out.push_back('\n');
            append_indent(out, top.indent);
            out.push_back(writes_as_array(*top.node) ? ']' : '}');
            stack.pop_back();
            if (!stack.empty()) {
                open_container& outer = stack.back();
                if (outer.next_child != outer.node->children.size())
                    out.append(",\n", 2);
            }
            continue;
        }

        const json_node& child = children[top.next_child++];
        const std::size_t child_indent = top.indent + 4;
        const bool last = top.next_child == children.size();
        append_indent(out, child_indent);
        append_key(out, child);
        if (append_leaf(out, child)) {
            if (!last)
                out.append(",\n", 2);
            continue;
        }
        out.push_back(writes_as_array(child) ? '[' : '{');
        out.push_back('\n');
        stack.push_back({&child, 0, child_indent}); // may invalidate `top`
    }
}

} // namespace

void append_escaped(std::string& out, std::string_view text)
{
    const char* run = text.data();
    const char* const end = run + text.size();
    for (;;) {
        const char* const hit = find_escape(run, end);
        out.append(run, static_cast<std::size_t>(hit - run));
        if (hit == end)
            return;
        const char pair[2] = {'\\', escape_of(*hit)};
        out.append(pair, 2);
        run = hit + 1;
    }
}

std::string escape_text(std::string_view text)
{
    std::string out;
    out.reserve(text.size());
    append_escaped(out, text);
    return out;
}

void append_int64(std::string& out, std::int64_t n)
{
    const bool negative = n < 0;
    // Negate in unsigned arithmetic so that the smallest value is exact.
    std::uint64_t v = negative ? 0 - static_cast<std::uint64_t>(n) : static_cast<std::uint64_t>(n);
    const unsigned digits = count_digits(v);
    const std::size_t start = out.size();
    out.resize(start + digits + (negative ? 1 : 0));
    char* first = out.data() + start;
    if (negative)
        *first++ = '-';
    char* p = first + digits;
    while (v >= 100) {
        const std::size_t pair = static_cast<std::size_t>(v % 100) * 2;
        v /= 100;
        p -= 2;
        std::memcpy(p, kDigitPairs + pair, 2);
    }
    if (v < 10)
        *--p = static_cast<char>('0' + v);
    else {
        p -= 2;
        std::memcpy(p, kDigitPairs + v * 2, 2);
    }
}

std::string format_int64(std::int64_t n)
{
    std::string out;
    append_int64(out, n);
    return out;
}

void write_node(const json_node& node, std::string& out, std::size_t indent, bool pretty)
{
    if (pretty) {
        append_indented(node, out, indent);
        return;
    }
    // The text goes straight into the string's buffer, which grows fourfold
    // whenever the next step might not fit. Sizing the text first would take
    // a second walk over a tree that is far larger than the caches, which
    // costs more than the copies made here. With fourfold growth the buffers
    // left behind add up to a third of the final one; with doubling they add
    // up to as much as it, and glibc was seen to hand all those pages back to
    // the system after each large text and fault them in again for the next.
    //
    // Growth happens between calls to resize_and_overwrite, and an exception
    // thrown inside one (the walk's stack can fail to grow) is carried out of
    // it, since the operation must not throw.
    compact_writer writer;
    std::size_t written = out.size();
    std::size_t need = node_bound(node);
    std::size_t capacity = std::max(kFirstCapacity, out.capacity());
    bool started = false;
    for (;;) {
        while (capacity - written < need + kSlack)
            capacity *= 4;
        std::size_t after = written;
        std::exception_ptr failure;
        // The size handed to the operation is not used: GCC 12's library
        // passes the grown capacity instead.
        out.resize_and_overwrite(capacity, [&](char* buffer, std::size_t) noexcept {
            try {
                char* p = buffer + written;
                if (!started) {
                    p = writer.start(p, node);
                    started = true;
                }
                p = writer.resume(p, buffer + capacity - kSlack);
                after = static_cast<std::size_t>(p - buffer);
            } catch (...) {
                failure = std::current_exception();
            }
            return after;
        });
        if (failure)
            std::rethrow_exception(failure);
        written = after;
        if (writer.done())
            return;
        need = writer.next_need();
    }
}

bool write_json(const json_node& root, std::string& out, bool pretty)
{
    out.clear();
    if (root.children.empty() && root.key.empty() && root.value.empty()) {
        if (root.is_array)
            out.append("[]", 2);
        else if (root.is_object)
            out.append("{}", 2);
        else
            out.append("\"\"", 2);
        return true;
    }
    write_node(root, out, 0, pretty);
    return true;
}

} // namespace tarsion
