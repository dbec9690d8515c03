#pragma once

// What the JSON tests and the fuzzers both ask of a tree. No test framework
// here: the fuzzers are built without one.

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "sdk/json/json_node.h"
#include "sdk/json/json_writer.h"

namespace json_trees {

// Written into a string that held something before, as a caller's might.
inline std::string written(const tarsion::json_node& node, bool pretty = false)
{
    std::string out = "stale";
    tarsion::write_json(node, out, pretty);
    return out;
}

// Empty when `actual` has the content of `expected` and every child in it
// points at the node holding it; otherwise what differs first. Iterative,
// because the trees under test may be far deeper than any stack.
inline std::string first_difference(const tarsion::json_node& expected, const tarsion::json_node& actual)
{
    std::vector<std::pair<const tarsion::json_node*, const tarsion::json_node*>> pending{
        {&expected, &actual}};
    while (!pending.empty()) {
        const auto [e, a] = pending.back();
        pending.pop_back();
        if (e->key != a->key || e->value != a->value || e->quoted != a->quoted || e->is_array != a->is_array
            || e->is_object != a->is_object || e->children.size() != a->children.size())
            return "\"" + e->key.str() + "\":\"" + e->value.str() + "\" differs";
        for (std::size_t i = 0; i < e->children.size(); ++i) {
            if (a->children[i].parent != a)
                return "\"" + a->children[i].key.str() + "\" has a wrong parent";
            pending.emplace_back(&e->children[i], &a->children[i]);
        }
    }
    return {};
}

} // namespace json_trees
