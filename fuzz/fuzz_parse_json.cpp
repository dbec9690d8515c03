// The JSON reader over arbitrary bytes, and the writer over whatever it reads.
//
// Properties, for every input:
//  - the tree, read completely or not, keeps its parent links (copies and
//    moves keep theirs: the JSON suite's deep trees show that);
//  - the indented text is the compact text plus layout, and a container
//    writes as its children written one by one and joined (the writer
//    resumes wherever its buffer ran out);
//  - reading the elements of an array root one at a time agrees with reading
//    the whole tree.
// And when the text was read: write, read again, write again gives the same
// text, compact and indented; unless the tree has a shape listed at
// writes_faithfully() or the text holds a `\u` escape the reader would
// decode. Both exceptions follow from rules of the reader and writer
// (docs/RELIABILITY.md lists them).

#include <cstddef>
#include <cstdint>
#include <optional>
#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "fuzz_check.h"
#include "sdk/json/json_node.h"
#include "sdk/json/json_reader.h"
#include "sdk/json/json_writer.h"
#include "sdk/json/detail/unicode_escapes.h"
#include "support/json_trees.h"

namespace {

using tarsion::json_node;

using json_trees::written;

// Equal content, and parent links that point at the node holding each child.
bool same_tree(const json_node& a, const json_node& b)
{
    return json_trees::first_difference(a, b).empty();
}

// The writer leaves out empty keys and writes an unquoted value as it
// stands, so three shapes the lenient reader can build are written as text
// that means something else: a member with an empty key in an object
// (`{"":1}` is written `{1}`), an element with a key in an array (from a
// container opened again with the other bracket), an unquoted empty scalar
// below the root (`[1,\]`).
bool writes_faithfully(const json_node& root)
{
    std::vector<const json_node*> pending{&root};
    while (!pending.empty()) {
        const json_node* node = pending.back();
        pending.pop_back();
        for (const json_node& child : node->children) {
            if ((node->value.empty() && node->is_array) != child.key.empty())
                return false;
            if (child.children.empty() && !child.quoted && child.value.empty() && !child.is_array
                && !child.is_object)
                return false;
            pending.push_back(&child);
        }
    }
    return true;
}

std::size_t depth_of(const json_node& root)
{
    std::size_t deepest = 0;
    std::vector<std::pair<const json_node*, std::size_t>> pending{{&root, 0}};
    while (!pending.empty()) {
        const auto [node, depth] = pending.back();
        pending.pop_back();
        deepest = std::max(deepest, depth);
        for (const json_node& child : node->children)
            pending.emplace_back(&child, depth + 1);
    }
    return deepest;
}

// Outside strings the writer puts spaces and line feeds only as layout.
std::string without_layout(std::string_view text)
{
    std::string out;
    bool in_string = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (in_string && c == '\\' && i + 1 < text.size()) {
            out.push_back(c);
            out.push_back(text[++i]);
            continue;
        }
        if (c == '"')
            in_string = !in_string;
        if (in_string || (c != ' ' && c != '\n'))
            out.push_back(c);
    }
    return out;
}

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
        FUZZ_CHECK(elements.empty() && same_tree(whole, root),
                   "a root that is no array reads as parse_json reads it");
        return;
    }
    FUZZ_CHECK(elements.size() == whole.children.size(), "every element is handed over once");
    for (std::size_t i = 0; i < elements.size(); ++i)
        FUZZ_CHECK(same_tree(whole.children[i], elements[i]), "each element is parse_json's element");
    FUZZ_CHECK(root.is_array && root.children.empty(), "the root is left an empty array");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    json_node root;
    const bool ok = tarsion::parse_json(text, root);
    FUZZ_CHECK(root.parent == nullptr && same_tree(root, root), "a read tree keeps its parent links");
    const std::string compact = written(root, false);
    std::optional<std::string> indented;
    // The indented text grows with depth times size: once their product
    // passes 256 Ki only the compact form is checked.
    if (size * (depth_of(root) + 1) <= 256 * 1024) {
        indented = written(root, true);
        FUZZ_CHECK(without_layout(*indented) == compact, "the indented text is the compact text plus layout");
    }
    if (!root.children.empty()) {
        const bool array = root.value.empty() && root.is_array;
        std::string joined(1, array ? '[' : '{');
        for (std::size_t i = 0; i < root.children.size(); ++i) {
            if (i != 0)
                joined.push_back(',');
            tarsion::write_node(root.children[i], joined, 0, false);
        }
        joined.push_back(array ? ']' : '}');
        FUZZ_CHECK(joined == compact, "a container writes as its children joined");
    }
    check_streaming(text, root, ok);
    std::string decoded;
    if (!ok || !writes_faithfully(root) || tarsion::detail::decode_unicode_escapes(compact, decoded))
        return 0;
    json_node again;
    FUZZ_CHECK(tarsion::parse_json(compact, again), "the compact text of a read tree reads again");
    FUZZ_CHECK(written(again, false) == compact, "write, read, write gives the same compact text");
    if (indented) {
        json_node again_indented;
        FUZZ_CHECK(tarsion::parse_json(*indented, again_indented) && same_tree(again, again_indented),
                   "the indented text reads as the compact text does");
    }
    return 0;
}
