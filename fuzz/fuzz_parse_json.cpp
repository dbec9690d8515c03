// The JSON reader over arbitrary bytes, and the writer over whatever it reads.
//
// Properties, for every input:
//  - the tree, read completely or not, keeps its parent links: every child
//    points at the node whose list holds it, and the root at nothing;
//  - the indented text is the compact text plus layout (spaces and line feeds
//    between tokens); a container writes as its children written one by one
//    and joined; writing a node into a string that already holds text
//    appends to it; the writer makes no `\u` escape of its own;
//  - a copy, a moved-to node, a node assigned into another tree and a node
//    assigned from its own child equal their source and are new roots or
//    keep their place as they should; removing the last child keeps the
//    others;
//  - reading the elements of an array root one at a time agrees with reading
//    the whole tree.
// And when the text was read:
//  - write, read again, write again gives the same text, compact and
//    indented, and the indented text reads as the compact text does; unless
//    the tree has one of the shapes listed at writes_faithfully() or the
//    written text holds a `\u` escape the reader would decode (see
//    reread_decodes_escapes()). Both exceptions follow from rules of the
//    reader and writer, not from faults; docs/RELIABILITY.md lists them.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "fuzz_check.h"
#include "sdk/json/json_node.h"
#include "sdk/json/json_reader.h"
#include "sdk/json/json_writer.h"
#include "sdk/json/unicode_escapes.h"

namespace {

using tarsion::json_node;

std::string compact(const json_node& node)
{
    std::string out = "stale";
    tarsion::write_json(node, out, false);
    return out;
}

std::string indented(const json_node& node)
{
    std::string out = "stale";
    tarsion::write_json(node, out, true);
    return out;
}

// The text of one node as a member or element: no special form for an empty
// root. One buffer serves every call, so that a root with many children does
// not cost a fresh one each.
std::string node_text(const json_node& node)
{
    static const std::string kPrefix = "prefix:";
    static std::string buffer;
    buffer = kPrefix;
    tarsion::write_node(node, buffer, 0, false);
    FUZZ_CHECK(buffer.compare(0, kPrefix.size(), kPrefix) == 0,
               "write_node appends to what the string holds");
    return buffer.substr(kPrefix.size());
}

// Everything but the parent links, which check_parent_links covers.
bool same_node(const json_node& a, const json_node& b)
{
    return a.key == b.key && a.value == b.value && a.quoted == b.quoted && a.is_array == b.is_array
           && a.is_object == b.is_object && a.children.size() == b.children.size();
}

bool same_tree(const json_node& a, const json_node& b)
{
    std::vector<std::pair<const json_node*, const json_node*>> pending{{&a, &b}};
    while (!pending.empty()) {
        const auto [x, y] = pending.back();
        pending.pop_back();
        if (!same_node(*x, *y))
            return false;
        for (std::size_t i = 0; i < x->children.size(); ++i)
            pending.emplace_back(&x->children[i], &y->children[i]);
    }
    return true;
}

bool writes_as_array(const json_node& node)
{
    return node.value.empty() && node.is_array;
}

// Iterative: the reader accepts nesting as deep as the input allows.
void check_parent_links(const json_node& root)
{
    FUZZ_CHECK(root.parent == nullptr, "a root has no parent");
    std::vector<const json_node*> pending{&root};
    while (!pending.empty()) {
        const json_node* node = pending.back();
        pending.pop_back();
        for (const json_node& child : node->children) {
            FUZZ_CHECK(child.parent == node, "every child points at the node that holds it");
            if (!child.children.empty())
                pending.push_back(&child);
        }
    }
}

// Whether the written text stands for this very tree. The writer leaves out
// empty keys and writes an unquoted value as it stands, so three shapes that
// the lenient reader can build are written as text that means something else
// (or nothing):
//  - a member with an empty key inside a node written as an object
//    (`{"":1}` is written `{1}`);
//  - an element with a key inside a node written as an array (a container
//    opened again with the other bracket, `{"a":{"b":1}[2]}`, ends up so);
//  - an unquoted empty scalar below the root (a lone backslash token, `[1,\]`,
//    is read as one and written as nothing).
bool writes_faithfully(const json_node& root)
{
    std::vector<const json_node*> pending{&root};
    while (!pending.empty()) {
        const json_node* node = pending.back();
        pending.pop_back();
        const bool array = writes_as_array(*node);
        for (const json_node& child : node->children) {
            if (array != child.key.empty())
                return false;
            if (child.children.empty()) {
                if (!child.quoted && child.value.empty() && !child.is_array && !child.is_object)
                    return false;
            } else {
                pending.push_back(&child);
            }
        }
    }
    return true;
}

// The writer escapes a backslash as two, and the reader's `\u` pre-pass does
// not know escaped backslashes (a rule kept on purpose), so a key or value
// holding a backslash followed by "u" and four hexadecimal digits comes back
// decoded, or not at all when a decoded quote ends a string early. Only when
// every `\u` in the text is well-formed does the pre-pass act, so only then is
// the round trip not checked.
bool reread_decodes_escapes(const std::string& compact_text, const std::string* indented_text)
{
    std::string scratch;
    const bool compact_decodes = tarsion::decode_unicode_escapes(compact_text, scratch);
    if (indented_text != nullptr) {
        // Layout adds no byte inside a string and never touches an escape.
        FUZZ_CHECK(tarsion::decode_unicode_escapes(*indented_text, scratch) == compact_decodes,
                   "layout does not change the pre-pass's decision");
    }
    FUZZ_CHECK(!compact_decodes || compact_text.find("\\u") != std::string::npos,
               "the pre-pass leaves a text without \\u alone");
    return compact_decodes;
}

std::size_t count_backslash_u(std::string_view text)
{
    std::size_t count = 0;
    for (std::size_t at = text.find("\\u"); at != std::string_view::npos; at = text.find("\\u", at + 1))
        ++count;
    return count;
}

// How many times a backslash followed by "u" occurs in what the writer
// writes of the tree: every key, and the value of every node without
// children.
std::size_t backslash_u_in_tree(const json_node& root)
{
    std::size_t count = 0;
    std::vector<const json_node*> pending{&root};
    while (!pending.empty()) {
        const json_node* node = pending.back();
        pending.pop_back();
        count += count_backslash_u(node->key);
        if (node->children.empty())
            count += count_backslash_u(node->value);
        for (const json_node& child : node->children)
            pending.push_back(&child);
    }
    return count;
}

// The indented text with its layout taken out. Outside strings the writer
// puts spaces and line feeds only as layout: an unquoted value never holds
// one (the reader ends a token at any byte below 33), and inside strings a
// line feed is escaped and a quote too.
std::string without_layout(std::string_view text)
{
    std::string out;
    out.reserve(text.size());
    bool in_string = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (in_string) {
            out.push_back(c);
            if (c == '\\' && i + 1 < text.size())
                out.push_back(text[++i]);
            else if (c == '"')
                in_string = false;
            continue;
        }
        if (c == ' ' || c == '\n')
            continue;
        if (c == '"')
            in_string = true;
        out.push_back(c);
    }
    return out;
}

// The indented text puts four spaces a level before every line, so it grows
// with depth times size: a 64 KiB input of nested brackets would need
// gigabytes. Above this many bytes of indentation only the compact form is
// checked.
constexpr std::size_t kIndentationLimit = 256 * 1024;

bool indentation_within_limit(const json_node& root)
{
    std::size_t total = 0;
    std::vector<std::pair<const json_node*, std::size_t>> pending{{&root, 0}};
    while (!pending.empty()) {
        const auto [node, depth] = pending.back();
        pending.pop_back();
        // Its own line, and the line of its closing bracket when it has children.
        total += 4 * depth * (node->children.empty() ? 1 : 2);
        if (total > kIndentationLimit)
            return false;
        for (const json_node& child : node->children)
            pending.emplace_back(&child, depth + 1);
    }
    return true;
}

void check_writing(const json_node& root, const std::string& written, const std::string* written_indented)
{
    if (written_indented != nullptr) {
        FUZZ_CHECK(without_layout(*written_indented) == written,
                   "the indented text is the compact text plus layout");
    }

    // A backslash is written as two, so each backslash-"u" of a key or value
    // shows as one in the text; the writer makes no `\u` escape of its own.
    FUZZ_CHECK(count_backslash_u(written) == backslash_u_in_tree(root),
               "the writer emits no \\u escape of its own");

    if (!root.children.empty()) {
        // The compact writer works in steps that resume wherever its buffer
        // ran out; piece by piece it must write the same.
        std::string joined(1, writes_as_array(root) ? '[' : '{');
        for (std::size_t i = 0; i < root.children.size(); ++i) {
            if (i != 0)
                joined.push_back(',');
            joined += node_text(root.children[i]);
        }
        joined.push_back(writes_as_array(root) ? ']' : '}');
        FUZZ_CHECK(joined == written, "a container writes as its children joined");
    }
}

void check_copies(const json_node& root)
{
    json_node copy(root);
    FUZZ_CHECK(copy.parent == nullptr, "a copy is a new root");
    check_parent_links(copy);
    FUZZ_CHECK(same_tree(copy, root), "a copy equals its source");

    json_node moved(std::move(copy));
    check_parent_links(moved);
    FUZZ_CHECK(same_tree(moved, root), "a moved-to node equals its source");

    // Assignment keeps the target's place in its own tree.
    json_node holder;
    holder.add_array("");
    holder.add_value("", "after", true);
    json_node& slot = holder.children.front();
    slot = root;
    FUZZ_CHECK(slot.parent == &holder, "an assigned node keeps its parent");
    check_parent_links(holder);
    FUZZ_CHECK(same_tree(slot, root), "an assigned node equals its source");
    FUZZ_CHECK(holder.children.size() == 2 && holder.children.back().value == "after",
               "assignment leaves the target's siblings alone");

    if (!moved.children.empty()) {
        // The source of a move may live in the target's own subtree.
        const json_node first_child(moved.children.front());
        json_node& target = moved;
        target = std::move(target.children.front());
        check_parent_links(target);
        FUZZ_CHECK(same_tree(target, first_child), "a node assigned from its own child equals that child");
    }

    json_node trimmed(root);
    if (!trimmed.children.empty()) {
        trimmed.remove_last_child();
        check_parent_links(trimmed);
        FUZZ_CHECK(trimmed.children.size() + 1 == root.children.size(),
                   "remove_last_child removes one child");
        for (std::size_t i = 0; i < trimmed.children.size(); ++i)
            FUZZ_CHECK(same_tree(trimmed.children[i], root.children[i]),
                       "remove_last_child keeps the others");
    }
}

void check_round_trip(const json_node& root, const std::string& written, const std::string* written_indented)
{
    json_node again;
    const bool reread = tarsion::parse_json(written, again);
    check_parent_links(again);
    json_node again_indented;
    const bool reread_indented =
        written_indented != nullptr && tarsion::parse_json(*written_indented, again_indented);
    check_parent_links(again_indented);

    if (!writes_faithfully(root) || reread_decodes_escapes(written, written_indented))
        return;

    FUZZ_CHECK(reread, "the compact text of a read tree reads again");
    FUZZ_CHECK(compact(again) == written, "write, read, write gives the same compact text");
    if (written_indented == nullptr)
        return;
    FUZZ_CHECK(indented(again) == *written_indented, "write, read, write gives the same indented text");
    FUZZ_CHECK(reread_indented, "the indented text of a read tree reads again");
    FUZZ_CHECK(same_tree(again_indented, again), "the indented text reads as the compact text does");
}

} // namespace

// Reading the elements of an array root one by one gives the same verdict
// and, when the text reads, the same elements in the same order, with the
// root left an empty array; any other root reads as parse_json reads it.
void check_streaming(const std::string& text, const json_node& whole, bool whole_ok)
{
    json_node root;
    std::vector<json_node> elements;
    const bool ok = tarsion::parse_json_elements(
        text, root, [&](json_node& element) { elements.push_back(std::move(element)); });
    FUZZ_CHECK(ok == whole_ok, "parse_json_elements gives parse_json's verdict");
    if (!ok)
        return;
    if (!whole.is_array) {
        FUZZ_CHECK(elements.empty() && same_tree(root, whole),
                   "a root that is no array reads as parse_json reads it");
        return;
    }
    FUZZ_CHECK(elements.size() == whole.children.size(), "every element is handed over once");
    for (std::size_t i = 0; i < elements.size(); ++i)
        FUZZ_CHECK(same_tree(elements[i], whole.children[i]), "each element is parse_json's element");
    FUZZ_CHECK(root.is_array && root.children.empty(), "the root is left an empty array");
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    json_node root;
    const bool ok = tarsion::parse_json(text, root);
    // A failed read leaves a partial tree, which must still be sound.
    check_parent_links(root);
    const std::string written = compact(root);
    const std::optional<std::string> written_indented =
        indentation_within_limit(root) ? std::optional(indented(root)) : std::nullopt;
    const std::string* const indented_text = written_indented ? &*written_indented : nullptr;
    check_writing(root, written, indented_text);
    check_copies(root);
    check_streaming(text, root, ok);
    if (ok)
        check_round_trip(root, written, indented_text);
    return 0;
}
