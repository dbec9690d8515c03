#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "sdk/json/json_node.h"

// Plain, obviously correct versions of the writer and the reader, one byte and
// one node at a time, which the fast library code must agree with on every
// input. They are slow on purpose: they are the rules written out as code.
namespace json_test::reference {

// The two-character escape of a byte, or 0 when it is written raw.
char escape_of(unsigned char byte);

std::string escape(std::string_view text);
std::string unescape(std::string_view span);

// The compact or indented text of a tree (recursive: for shallow trees only).
std::string write(const tarsion::json_node& root, bool pretty);
void write_node(const tarsion::json_node& node, std::string& out, std::size_t indent, bool pretty);

// The reader as a literal state machine over nodes added one by one through
// add_value, climbing out of a closed container through `parent`. The pre-pass
// for `\u` escapes is the library's own (it is not what is under test here).
bool parse(const std::string& text, tarsion::json_node& root);

} // namespace json_test::reference

namespace json_test {

// Equal keys, values, flags and shapes, node for node; the first difference
// is described in the failure message.
testing::AssertionResult same_tree(const tarsion::json_node& expected, const tarsion::json_node& actual);

// Random input, reproducible from the seed.
class random_json
{
public:
    explicit random_json(std::uint64_t seed) : engine_(seed) {}

    std::size_t below(std::size_t n) { return std::uniform_int_distribution<std::size_t>(0, n - 1)(engine_); }
    bool one_in(std::size_t n) { return below(n) == 0; }

    // Bytes of every kind: plain text, the eight escaped bytes, other control
    // bytes, zero, bytes from 0x80 up.
    std::string text(std::size_t max_length);

    // A tree built through the adders, with any flags and any text, and
    // nodes whose flags disagree with their children or value; at most
    // `max_nodes` nodes below the root.
    tarsion::json_node tree(std::size_t max_depth, std::size_t max_width, std::size_t max_text,
                            std::size_t max_nodes = 2000);

    // Text for the reader: mostly well-formed JSON with the lenient forms
    // mixed in, sometimes damaged by a dropped, doubled or stray token.
    std::string document(std::size_t max_depth);

private:
    void fill(tarsion::json_node& node, std::size_t depth, std::size_t max_width, std::size_t max_text);
    void value_text(std::string& out, std::size_t depth);
    std::string string_token();
    std::string stray_token();

    std::mt19937_64 engine_;
    std::size_t nodes_left_ = 0;
};

} // namespace json_test
