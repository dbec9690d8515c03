// The writer and the reader against the plain byte-at-a-time versions in
// json_reference, on generated trees and texts: the output text, the parse
// result, the tree (also the part filled before a syntax error) and the
// parent links must all agree.

#include <cstdint>
#include <string>

#include <gtest/gtest.h>

#include "json_reference.h"
#include "json_test_support.h"
#include "sdk/json/json_node.h"
#include "sdk/json/json_reader.h"
#include "sdk/json/json_writer.h"

namespace {

using tarsion::json_node;
namespace reference = json_test::reference;

testing::AssertionResult writes_like_reference(const json_node& root)
{
    for (const bool pretty : {false, true}) {
        std::string out = "stale";
        tarsion::write_json(root, out, pretty);
        const std::string expected = reference::write(root, pretty);
        if (out != expected) {
            std::size_t at = 0;
            while (at < out.size() && at < expected.size() && out[at] == expected[at])
                ++at;
            return testing::AssertionFailure()
                   << (pretty ? "indented" : "compact") << " text differs at byte " << at << " of "
                   << expected.size() << " (got " << out.size() << " bytes)";
        }
    }
    return testing::AssertionSuccess();
}

// ---------------------------------------------------------------------------
// Writer

TEST(JsonWriterAgainstReference, SmallGeneratedTrees)
{
    json_test::random_json random(1);
    for (int i = 0; i < 3000; ++i) {
        const json_node root = random.tree(4, 5, 40);
        ASSERT_TRUE(writes_like_reference(root)) << "tree " << i;
    }
}

TEST(JsonWriterAgainstReference, LargeGeneratedTrees)
{
    // Texts from a few kilobytes to a few megabytes, so the output buffer
    // grows several times, at places that depend on the tree.
    json_test::random_json random(2);
    for (int i = 0; i < 24; ++i) {
        const json_node root = random.tree(3 + i % 4, 10 + i * 2, 60 + i * 40, 2000 + 2000 * i);
        ASSERT_TRUE(writes_like_reference(root)) << "tree " << i;
    }
}

// Each element is written as 11 bytes; the element counts put the end of the
// first buffer at every byte of an element, with the last step fitting
// exactly, one byte short, and everything in between.
TEST(JsonWriterAgainstReference, TextCrossingTheFirstBufferSizeAtEveryByte)
{
    for (std::size_t count = 1450; count < 1510; ++count) {
        json_node root;
        root.is_array = true;
        for (std::size_t i = 0; i < count; ++i)
            root.add_value("", "ab/cdef", true);
        ASSERT_TRUE(writes_like_reference(root)) << count << " elements";
    }
}

TEST(JsonWriterAgainstReference, SingleStringsAroundEveryBufferSize)
{
    for (const std::size_t size : {16u * 1024, 64u * 1024, 256u * 1024}) {
        for (std::size_t length = size / 2 - 24; length < size / 2 + 8; ++length) {
            for (const char fill : {'x', '/'}) {
                json_node root;
                root.add_value("k", std::string(length, fill), true);
                ASSERT_TRUE(writes_like_reference(root)) << length << " x " << fill;
                json_node alone;
                alone.value = std::string(length * 2, fill);
                ASSERT_TRUE(writes_like_reference(alone)) << length * 2 << " x " << fill;
            }
        }
    }
}

TEST(JsonWriterAgainstReference, WriteNodeAppendsAfterExistingTextOfAnySize)
{
    json_test::random_json random(3);
    const json_node tree = random.tree(3, 6, 30);
    std::string expected_tail;
    reference::write_node(tree, expected_tail, 0, false);
    for (const std::size_t existing : {0u, 1u, 15u, 16u, 100u, 16383u, 16384u, 16385u, 70000u}) {
        std::string out(existing, 'p');
        tarsion::write_node(tree, out, 0, false);
        ASSERT_EQ(out.size(), existing + expected_tail.size()) << existing;
        EXPECT_EQ(out.substr(0, existing), std::string(existing, 'p'));
        EXPECT_TRUE(out.substr(existing) == expected_tail) << existing;

        std::string reserved;
        reserved.reserve(existing + 3);
        reserved.assign(existing, 'q');
        tarsion::write_node(tree, reserved, 0, false);
        EXPECT_TRUE(reserved.substr(existing) == expected_tail) << existing;
    }
}

TEST(JsonWriterAgainstReference, DeepAndWideTreesFromTheReader)
{
    json_test::random_json random(4);
    for (int i = 0; i < 300; ++i) {
        json_node root;
        if (tarsion::parse_json(random.document(6), root)) {
            ASSERT_TRUE(writes_like_reference(root)) << "document " << i;
        }
    }
}

// ---------------------------------------------------------------------------
// Reader

void expect_parses_like_reference(const std::string& text, json_node expected_root, json_node actual_root,
                                  const std::string& what)
{
    const bool expected_ok = reference::parse(text, expected_root);
    const bool actual_ok = tarsion::parse_json(text, actual_root);
    ASSERT_EQ(actual_ok, expected_ok) << what;
    ASSERT_TRUE(json_test::same_tree(expected_root, actual_root)) << what;
    ASSERT_TRUE(json_test::parent_links_hold(actual_root)) << what;
}

std::string shown(const std::string& text)
{
    std::string out;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte >= 0x7F) {
            static constexpr char kHex[] = "0123456789abcdef";
            out += "\\x";
            out += kHex[byte >> 4];
            out += kHex[byte & 15];
        } else {
            out += c;
        }
    }
    return out;
}

TEST(JsonReaderAgainstReference, GeneratedDocumentsWellFormedAndDamaged)
{
    json_test::random_json random(5);
    int accepted = 0;
    int rejected = 0;
    for (int i = 0; i < 30000; ++i) {
        const std::string text = random.document(1 + i % 5);
        json_node check;
        (reference::parse(text, check) ? accepted : rejected)++;
        expect_parses_like_reference(text, json_node(), json_node(),
                                     "document " + std::to_string(i) + ": " + shown(text));
        if (HasFatalFailure())
            return;
    }
    // Both outcomes must be well represented for the comparison to mean much.
    EXPECT_GT(accepted, 5000);
    EXPECT_GT(rejected, 5000);
}

TEST(JsonReaderAgainstReference, ContainersClosedAndOpenedAgain)
{
    // A value right after a closed container opens that container again and
    // appends to it; a comma-less member does the same to a closed object.
    for (const char* text :
         {"[[1] [2]]", "[[1][2,3]]", "[[1]{\"a\":2}]", "{\"a\":{\"b\":1}{\"c\":2}}", "[[] [1]]", "[[1] []]",
          "[{} {}]", "{\"a\":[1] [2] [3]}", "[[[1]] [[2]]]", "[[\"\"] [\"\"]]", "{{}}", "{[1]}", "{[}",
          "[[1] [2] x]", "[[1] [2]", "{\"a\":[1] [2}"}) {
        expect_parses_like_reference(text, json_node(), json_node(), text);
    }
}

TEST(JsonReaderAgainstReference, RootThatIsNotFresh)
{
    // The reader is meant for fresh roots, but whatever the root held is
    // treated the same way as before.
    json_test::random_json random(6);
    for (int i = 0; i < 2000; ++i) {
        json_node root = random.tree(2, 3, 6);
        const std::string text = random.document(3);
        expect_parses_like_reference(text, root, root, "document " + std::to_string(i) + ": " + shown(text));
        if (HasFatalFailure())
            return;
    }
}

TEST(JsonReaderAgainstReference, ReadsBackWhatTheWriterWrote)
{
    json_test::random_json random(7);
    for (int i = 0; i < 500; ++i) {
        const json_node tree = random.tree(4, 5, 30);
        const std::string text = json_test::compact(tree);
        expect_parses_like_reference(text, json_node(), json_node(),
                                     "tree " + std::to_string(i) + ": " + shown(text));
        if (HasFatalFailure())
            return;
    }
}

} // namespace
