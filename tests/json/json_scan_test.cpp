// The writer and the reader look at text eight bytes at a time and fall back
// to single bytes near the end of a string. These tests put every kind of
// byte at every position of strings of every short length, at every offset
// from an eight-byte boundary, and compare with the byte-at-a-time rules.

#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "json_reference.h"
#include "json_test_support.h"
#include "sdk/json/json_node.h"
#include "sdk/json/json_reader.h"
#include "sdk/json/json_writer.h"

namespace {

using tarsion::json_node;
namespace reference = json_test::reference;

constexpr std::size_t kMaxLength = 40;

// One byte of each kind that the scans treat differently: the eight escaped
// bytes, the other bytes below 0x0E (flagged by the word test, then found
// clean), other control bytes, zero, bytes either side of the tested
// values, and bytes from 0x80 up.
std::vector<unsigned char> special_bytes()
{
    std::vector<unsigned char> bytes = {0x08, 0x09, 0x0A, 0x0C, 0x0D, '"', '/', '\\'};
    for (const unsigned char b : {0x00, 0x01, 0x07, 0x0B, 0x0E, 0x0F, 0x1F, 0x21, 0x23, 0x2E, 0x30,
                                  0x5B, 0x5D, 0x7F, 0x80, 0x81, 0x8E, 0xA2, 0xAF, 0xDC, 0xFF})
        bytes.push_back(b);
    return bytes;
}

// Text of `length` bytes, all plain except `byte` at `position`.
std::string with_byte_at(std::size_t length, std::size_t position, unsigned char byte)
{
    std::string text(length, 'a');
    for (std::size_t i = 0; i < length; ++i)
        text[i] = static_cast<char>('a' + i % 26);
    text[position] = static_cast<char>(byte);
    return text;
}

std::string describe(std::size_t length, std::size_t position, unsigned char byte)
{
    return "length " + std::to_string(length) + ", byte " + std::to_string(byte) + " at "
           + std::to_string(position);
}

// ---------------------------------------------------------------------------
// Writer

TEST(JsonWriterScan, OneSpecialByteAtEveryPositionOfEveryShortLengthAndOffset)
{
    // The view starts at every offset from an aligned buffer, so the words
    // read straddle alignment boundaries in every way.
    alignas(16) char buffer[kMaxLength + 16];
    for (std::size_t length = 1; length <= kMaxLength; ++length) {
        for (std::size_t position = 0; position < length; ++position) {
            for (const unsigned char byte : special_bytes()) {
                const std::string text = with_byte_at(length, position, byte);
                const std::string expected = reference::escape(text);
                for (std::size_t offset = 0; offset < 8; ++offset) {
                    std::copy(text.begin(), text.end(), buffer + offset);
                    const std::string_view view(buffer + offset, length);
                    ASSERT_EQ(tarsion::escape_text(view), expected)
                        << describe(length, position, byte) << ", offset " << offset;
                }

                // The compact writer stores words through a raw pointer: as a
                // key and as a value, alone and after other text.
                json_node root;
                root.add_value(text, text, true);
                root.add_value("k", text, true);
                root.add_value(text, text, false);
                ASSERT_EQ(json_test::compact(root), reference::write(root, false))
                    << describe(length, position, byte);
            }
        }
    }
}

TEST(JsonWriterScan, EveryByteValueAloneAndInRuns)
{
    for (unsigned value = 0; value < 256; ++value) {
        const char byte = static_cast<char>(value);
        for (std::size_t length = 1; length <= 20; ++length) {
            const std::string text(length, byte);
            ASSERT_EQ(tarsion::escape_text(text), reference::escape(text))
                << "byte " << value << " x" << length;
            json_node root;
            root.is_array = true;
            root.add_value("", text, true);
            root.add_value(text, text, true);
            ASSERT_EQ(json_test::compact(root), reference::write(root, false))
                << "byte " << value << " x" << length;
        }
    }
}

TEST(JsonWriterScan, TextMadeOnlyOfEscapedBytesDoublesInLength)
{
    // Every byte escaped is the worst case the buffer must make room for.
    for (std::size_t length = 0; length <= kMaxLength; ++length) {
        std::string text;
        for (std::size_t i = 0; i < length; ++i)
            text += "\b\t\n\f\r\"/\\"[i % 8];
        json_node root;
        root.add_value(text, text, true);
        const std::string out = json_test::compact(root);
        EXPECT_EQ(out, reference::write(root, false));
        EXPECT_EQ(out.size(), length == 0 ? 4 : 4 * length + 7); // an empty key is not written
    }
}

TEST(JsonWriterScan, AppendEscapedKeepsWhatIsThere)
{
    for (std::size_t length = 0; length <= kMaxLength; ++length) {
        const std::string text = with_byte_at(length + 1, length, '/');
        std::string out = "prefix:";
        tarsion::append_escaped(out, text);
        EXPECT_EQ(out, "prefix:" + reference::escape(text));
    }
}

// ---------------------------------------------------------------------------
// Reader

// The text `["<content>"]` is parsed at every offset from the start of the
// string holding it; a string token may also end within the last eight bytes
// of the text, where the scan goes byte by byte.
TEST(JsonReaderScan, StringsWithOneSpecialByteAtEveryPositionAndOffset)
{
    for (std::size_t length = 0; length <= kMaxLength; ++length) {
        for (std::size_t position = 0; position <= length; ++position) {
            for (const unsigned char byte : special_bytes()) {
                if (position == length && byte != 0)
                    continue; // one plain string per length is enough
                std::string content =
                    length == 0 ? std::string() : with_byte_at(length, std::min(position, length - 1), 'a');
                if (position < length)
                    content[position] = static_cast<char>(byte);
                for (std::size_t offset = 0; offset < 9; ++offset) {
                    for (const char* tail : {"]", "]        ", "", "  "}) {
                        const std::string text = std::string(offset, ' ') + "[\"" + content + "\"" + tail;
                        json_node expected;
                        const bool expected_ok = reference::parse(text, expected);
                        json_node actual;
                        const bool actual_ok = tarsion::parse_json(text, actual);
                        ASSERT_EQ(actual_ok, expected_ok)
                            << describe(length, position, byte) << ", offset " << offset;
                        ASSERT_TRUE(json_test::same_tree(expected, actual))
                            << describe(length, position, byte) << ", offset " << offset;
                        ASSERT_TRUE(json_test::parent_links_hold(actual));
                    }
                }
            }
        }
    }
}

TEST(JsonReaderScan, RootStringEndingAtEveryDistanceFromTheEndOfTheText)
{
    for (std::size_t length = 0; length <= kMaxLength; ++length) {
        const std::string content = with_byte_at(length + 1, length, 'z').substr(0, length);
        for (std::size_t trailing = 0; trailing < 10; ++trailing) {
            const std::string text = "\"" + content + "\"" + std::string(trailing, ' ');
            json_node root;
            ASSERT_TRUE(tarsion::parse_json(text, root)) << "length " << length << ", trailing " << trailing;
            EXPECT_EQ(root.value, content);
            EXPECT_TRUE(root.quoted);

            // Without its closing quote the string never ends.
            json_node open;
            EXPECT_FALSE(tarsion::parse_json("\"" + content + std::string(trailing, ' '), open));
        }
    }
}

TEST(JsonReaderScan, EscapedQuotesAndBackslashesAtEveryPosition)
{
    for (std::size_t length = 0; length <= kMaxLength; ++length) {
        for (std::size_t position = 0; position <= length; ++position) {
            for (const char* escape : {"\\\"", "\\\\", "\\/", "\\n", "\\u00e9", "\\q"}) {
                std::string content = with_byte_at(length + 1, length, 'a').substr(0, length);
                content.insert(position, escape);
                const std::string text = "{\"" + content + "\":\"" + content + "\"}";
                json_node expected;
                ASSERT_TRUE(reference::parse(text, expected)) << text;
                json_node actual;
                ASSERT_TRUE(tarsion::parse_json(text, actual)) << text;
                ASSERT_TRUE(json_test::same_tree(expected, actual)) << text;
            }
        }
    }
}

TEST(JsonReaderScan, BackslashOrZeroRightAtTheEndIsAnUnterminatedString)
{
    for (std::size_t length = 0; length <= kMaxLength; ++length) {
        const std::string content(length, 'x');
        json_node a;
        EXPECT_FALSE(tarsion::parse_json("[\"" + content + "\\", a)) << length;
        json_node b;
        EXPECT_FALSE(tarsion::parse_json("[\"" + content + "\\\"", b)) << length;
        json_node c;
        EXPECT_FALSE(tarsion::parse_json("[\"" + content + std::string(1, '\0') + "\"]", c)) << length;
        json_node d;
        EXPECT_FALSE(tarsion::parse_json("[\"" + content + "\\" + std::string(1, '\0') + "\"]", d)) << length;
    }
}

TEST(JsonReaderScan, UnescapeAtEveryPosition)
{
    for (std::size_t length = 0; length <= kMaxLength; ++length) {
        for (std::size_t position = 0; position < length; ++position) {
            for (const char* escape : {"\\", "\\n", "\\t", "\\\\", "\\\"", "\\u", "\\b\\f"}) {
                std::string span = with_byte_at(length, position, 'a');
                span.replace(position, 1, escape);
                EXPECT_EQ(tarsion::unescape_text(span), reference::unescape(span)) << span;
            }
        }
    }
}

TEST(JsonReaderScan, UnescapeIntoItsOwnText)
{
    for (const std::string start : {"a\\nb", "\\\\\\\\", "plain", "\\", "0123456789abcdef\\t0123456789"}) {
        std::string text = start;
        tarsion::unescape_into(text, text);
        EXPECT_EQ(text, reference::unescape(start)) << start;
        std::string tail = "xx" + start;
        tarsion::unescape_into(tail, std::string_view(tail).substr(2));
        EXPECT_EQ(tail, reference::unescape(start)) << start;
    }
}

} // namespace
