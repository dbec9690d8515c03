#include "sdk/json/json_writer.h"

#include <array>
#include <cstring>
#include <vector>

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

bool writes_as_array(const json_node& node) noexcept
{
    return node.value.empty() && node.is_array;
}

void append_indent(std::string& out, std::size_t indent)
{
    out.append(indent, ' ');
}

void append_key(std::string& out, const json_node& node, bool pretty)
{
    if (node.key.empty())
        return;
    out.push_back('"');
    append_escaped(out, node.key);
    out.append(pretty ? "\": " : "\":");
}

// Writes a node that has no children; returns false when it has some.
bool append_leaf(std::string& out, const json_node& node)
{
    if (!node.children.empty())
        return false;
    if (node.value.empty() && node.is_array)
        out.append("[]");
    else if (node.value.empty() && node.is_object)
        out.append("{}");
    else if (!node.quoted)
        out.append(node.value);
    else {
        out.push_back('"');
        append_escaped(out, node.value);
        out.push_back('"');
    }
    return true;
}

} // namespace

void append_escaped(std::string& out, std::string_view text)
{
    const char* run = text.data();
    const char* const end = run + text.size();
    for (const char* p = run; p != end; ++p) {
        const char escaped = kEscape[static_cast<unsigned char>(*p)];
        if (escaped == 0)
            continue;
        out.append(run, p);
        const char pair[2] = {'\\', escaped};
        out.append(pair, 2);
        run = p + 1;
    }
    out.append(run, end);
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
    append_key(out, node, pretty);
    if (append_leaf(out, node))
        return;

    // An explicit stack of open containers instead of recursion, so that a
    // deeply nested tree cannot exhaust the thread's stack.
    struct open_container
    {
        const json_node* node;
        std::size_t next_child;
        std::size_t indent;
    };
    std::vector<open_container> stack;
    out.push_back(writes_as_array(node) ? '[' : '{');
    if (pretty)
        out.push_back('\n');
    stack.push_back({&node, 0, indent});

    while (!stack.empty()) {
        open_container& top = stack.back();
        const std::vector<json_node>& children = top.node->children;
        if (top.next_child == children.size()) {
            if (pretty) {
                out.push_back('\n');
                append_indent(out, top.indent);
            }
            out.push_back(writes_as_array(*top.node) ? ']' : '}');
            stack.pop_back();
            if (!stack.empty()) {
                open_container& outer = stack.back();
                if (outer.next_child != outer.node->children.size())
                    out.append(pretty ? ",\n" : ",");
            }
            continue;
        }

        const json_node& child = children[top.next_child++];
        const std::size_t child_indent = top.indent + 4;
        const bool last = top.next_child == children.size();
        if (pretty)
            append_indent(out, child_indent);
        append_key(out, child, pretty);
        if (append_leaf(out, child)) {
            if (!last)
                out.append(pretty ? ",\n" : ",");
            continue;
        }
        out.push_back(writes_as_array(child) ? '[' : '{');
        if (pretty)
            out.push_back('\n');
        stack.push_back({&child, 0, child_indent}); // may invalidate `top`
    }
}

bool write_json(const json_node& root, std::string& out, bool pretty)
{
    out.clear();
    if (root.children.empty() && root.key.empty() && root.value.empty()) {
        if (root.is_array)
            out.append("[]");
        else if (root.is_object)
            out.append("{}");
        else
            out.append("\"\"");
        return true;
    }
    write_node(root, out, 0, pretty);
    return true;
}

} // namespace tarsion
