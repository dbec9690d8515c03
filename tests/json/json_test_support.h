#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "sdk/json/json_adders.h"
#include "sdk/json/json_getters.h"
#include "sdk/json/json_node.h"

namespace json_test {

// The smallest record shape the SDK's records follow: a name and a count,
// both required when read.
struct test_record
{
    std::string name;
    std::int64_t count = 0;
    bool refuse_to_write = false; // to_json writes its members but reports failure
    int reads = 0;

    bool to_json(tarsion::json_node& node) const
    {
        const bool written =
            tarsion::add_string(node, "name", name) && tarsion::add_int64(node, "count", count);
        return written && !refuse_to_write;
    }

    bool from_json(const tarsion::json_node& node)
    {
        ++reads;
        const bool has_name = tarsion::get_string(node, "name", name);
        const bool has_count = tarsion::get_int64(node, "count", count);
        return has_name && has_count;
    }
};

// Walks the whole tree (without recursion, trees may be very deep) and checks
// that the root has no parent and every child points back at the node whose
// `children` hold it.
testing::AssertionResult parent_links_hold(const tarsion::json_node& root);

std::string compact(const tarsion::json_node& root);
std::string indented(const tarsion::json_node& root);

// Runs `body` on a thread whose stack is far too small for any recursion that
// grows with the nesting depth, so a recursive walk fails loudly instead of
// passing on a generous main-thread stack.
void run_on_small_stack(const std::function<void()>& body);

// Calls `visit` with every sequence of indices below `alphabet`, of every
// length up to `max_length`, shorter ones first, until `visit` returns
// false; returns how many sequences it visited.
std::size_t for_each_sequence(std::size_t alphabet, std::size_t max_length,
                              const std::function<bool(const std::vector<std::size_t>&)>& visit);

// "[[[...]]]" and {"a":{"a":...{}...}} nested `depth` levels.
std::string nested_arrays(std::size_t depth);
std::string nested_objects(std::size_t depth);

} // namespace json_test
