#include "json_test_support.h"

#include <pthread.h>

#include <utility>
#include <vector>

#include "sdk/json/json_writer.h"

namespace json_test {

testing::AssertionResult parent_links_hold(const tarsion::json_node& root)
{
    if (root.parent != nullptr)
        return testing::AssertionFailure() << "the root has a parent";
    std::vector<std::pair<const tarsion::json_node*, std::size_t>> pending{{&root, 0}};
    while (!pending.empty()) {
        const auto [node, depth] = pending.back();
        pending.pop_back();
        for (std::size_t i = 0; i < node->children.size(); ++i) {
            const tarsion::json_node& child = node->children[i];
            if (child.parent != node)
                return testing::AssertionFailure()
                       << "child " << i << " (key \"" << child.key << "\") at depth " << depth + 1
                       << " does not point at its holder";
            pending.emplace_back(&child, depth + 1);
        }
    }
    return testing::AssertionSuccess();
}

std::string compact(const tarsion::json_node& root)
{
    std::string out;
    tarsion::write_json(root, out, false);
    return out;
}

std::string indented(const tarsion::json_node& root)
{
    std::string out;
    tarsion::write_json(root, out, true);
    return out;
}

void run_on_small_stack(const std::function<void()>& body)
{
    // 64 KiB: enough for gtest and the library's own frames, far
    // too little for one frame per level of the trees these tests build.
    constexpr std::size_t kStackBytes = 64 * 1024;
    pthread_attr_t attr;
    ASSERT_EQ(pthread_attr_init(&attr), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attr, kStackBytes), 0);
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

std::size_t for_each_sequence(std::size_t alphabet, std::size_t max_length,
                              const std::function<bool(const std::vector<std::size_t>&)>& visit)
{
    std::size_t visited = 0;
    for (std::size_t length = 0; length <= max_length; ++length) {
        std::vector<std::size_t> sequence(length, 0);
        for (;;) {
            ++visited;
            if (!visit(sequence))
                return visited;
            // The next sequence in counting order; done after the last.
            std::size_t digit = 0;
            while (digit < length && ++sequence[digit] == alphabet)
                sequence[digit++] = 0;
            if (digit == length)
                break;
        }
    }
    return visited;
}

std::string nested_arrays(std::size_t depth)
{
    return std::string(depth, '[') + std::string(depth, ']');
}

std::string nested_objects(std::size_t depth)
{
    std::string text;
    text.reserve(depth * 6);
    for (std::size_t i = 1; i < depth; ++i)
        text += "{\"a\":";
    text += "{}";
    text.append(depth - 1, '}');
    return text;
}

} // namespace json_test
