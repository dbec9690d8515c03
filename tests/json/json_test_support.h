#pragma once

#include <functional>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <pthread.h>

#include "sdk/json/json_node.h"
#include "support/json_trees.h"

namespace json_test {

using tarsion::json_node;

inline std::string compact(const json_node& root)
{
    return json_trees::written(root);
}

// Equal content, parent links that hold, and `actual` a root.
inline testing::AssertionResult same_tree(const json_node& expected, const json_node& actual)
{
    if (actual.parent != nullptr)
        return testing::AssertionFailure() << "the root has a parent";
    const std::string difference = json_trees::first_difference(expected, actual);
    if (!difference.empty())
        return testing::AssertionFailure() << difference;
    return testing::AssertionSuccess();
}

inline testing::AssertionResult parent_links_hold(const json_node& root)
{
    return same_tree(root, root);
}

// 64 KiB of stack: enough for gtest and the library, far too little for one
// frame per level of the nests the tests build, so a recursive walk crashes.
inline void run_on_small_stack(const std::function<void()>& body)
{
    pthread_attr_t attr;
    ASSERT_EQ(pthread_attr_init(&attr), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attr, 64 * 1024), 0);
    pthread_t thread;
    auto trampoline = [](void* arg) -> void* {
        (*static_cast<const std::function<void()>*>(arg))();
        return nullptr;
    };
    const int started = pthread_create(&thread, &attr, trampoline, const_cast<std::function<void()>*>(&body));
    pthread_attr_destroy(&attr);
    ASSERT_EQ(started, 0);
    ASSERT_EQ(pthread_join(thread, nullptr), 0);
}

// What nlohmann/json makes of the text the tree stands for: strings are
// quoted scalars, numbers and literals unquoted ones kept as their text.
inline nlohmann::ordered_json as_nlohmann(const json_node& node)
{
    if (!node.is_array && !node.is_object)
        return node.quoted ? nlohmann::ordered_json(node.value) : nlohmann::ordered_json::parse(node.value);
    nlohmann::ordered_json out =
        node.is_array ? nlohmann::ordered_json::array() : nlohmann::ordered_json::object();
    for (const json_node& child : node.children) {
        if (node.is_array)
            out.push_back(as_nlohmann(child));
        else
            out[child.key] = as_nlohmann(child);
    }
    return out;
}

} // namespace json_test
