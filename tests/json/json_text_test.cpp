// JSON text: the reader and the writer against nlohmann/json on generated
// documents; the lenient forms and refusals that are this reader's own; the
// writer's escapes, integers and layout byte for byte.

#include <charconv>
#include <cstdio>
#include <limits>
#include <random>
#include <ranges>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "json_test_support.h"
#include "sdk/json/json_reader.h"
#include "sdk/json/json_writer.h"

namespace {

using json_test::compact;
using json_test::parent_links_hold;
using tarsion::json_node;
using ordered = nlohmann::ordered_json;

// Strict JSON with every escape, \u forms (surrogate pairs, a quote and a
// backslash among them), both exponent letters, layout between tokens and
// now and then a string long enough to outgrow the writer's buffers. Keys
// and first elements are never empty: a lone empty element is read as the
// unfilled first slot, and an empty first key changes how an object is
// read, both on purpose.
class document_generator
{
public:
    explicit document_generator(std::uint64_t seed) : engine_(seed) {}

    void value(std::string& out, std::size_t depth, bool may_be_empty = false)
    {
        static const std::vector<std::string> kScalars = split(
            "0 -12 18446744073709551615 -9223372036854775808 1.5 1E3 2e-7 1.0E+10 -0.25 true false null",
            ' ');
        static const std::vector<std::string> kSpaces = split("||| |\n|\t|\r\n  ", '|');
        const std::size_t kind = below(depth == 0 ? 2 : 4);
        if (kind < 2) {
            out += kind == 0 ? pick(kScalars) : string_token(may_be_empty);
            return;
        }
        out += kind == 2 ? '[' : '{';
        // A quarter of the containers are empty, "[{}]" and "[[]]" among them.
        const std::size_t count = below(4) == 0 ? 0 : 1 + below(4);
        for (std::size_t i = 0; i < count; ++i) {
            out += std::string(i == 0 ? "" : ",") + pick(kSpaces);
            if (kind == 3)
                out += string_token() + pick(kSpaces) + ":" + pick(kSpaces);
            value(out, depth - 1, kind == 3 || i > 0);
            out += pick(kSpaces);
        }
        out += kind == 2 ? ']' : '}';
    }

private:
    std::string string_token(bool may_be_empty = false)
    {
        if (may_be_empty && below(8) == 0)
            return "\"\"";
        // Pieces between the bars.
        static const std::vector<std::string> kPieces =
            split("abc|Z| |\\\"|\\\\|\\/|\\b|\\f|\\n|\\r|\\t|\\u00e9|\\u00E9|\\u0022|\\u005C|\\u20ac|"
                  "\\u007f|{[,:]}|\xc3\xa9|\xe2\x82\xac|\\ud83d\\ude00|\\uDBFF\\uDFFF|0",
                  '|');
        std::string out = "\"";
        const std::size_t pieces = below(40) == 0 ? 3000 : 1 + below(6);
        for (std::size_t n = 0; n < pieces; ++n)
            out += pick(kPieces);
        return out + "\"";
    }

    std::size_t below(std::size_t n) { return std::uniform_int_distribution<std::size_t>(0, n - 1)(engine_); }
    const std::string& pick(const std::vector<std::string>& items) { return items[below(items.size())]; }
    static std::vector<std::string> split(std::string_view text, char separator)
    {
        std::vector<std::string> out;
        for (const auto piece : std::views::split(text, separator))
            out.emplace_back(piece.begin(), piece.end());
        return out;
    }

    std::mt19937_64 engine_;
};

TEST(JsonAgainstNlohmann, GeneratedDocumentsReadAndWriteAlike)
{
    document_generator generate(5);
    for (int i = 0; i < 10000; ++i) {
        std::string text = " ";
        generate.value(text, 1 + i % 5);
        SCOPED_TRACE(text.substr(0, 300));
        const ordered expected = ordered::parse(text);
        json_node root;
        ASSERT_TRUE(tarsion::parse_json(text, root));
        ASSERT_EQ(json_test::as_nlohmann(root), expected);
        ASSERT_TRUE(parent_links_hold(root));

        for (const bool pretty : {false, true}) {
            std::string out = "stale";
            tarsion::write_json(root, out, pretty);
            ASSERT_EQ(ordered::parse(out), expected) << out;
            json_node again;
            ASSERT_TRUE(tarsion::parse_json(out, again));
            ASSERT_TRUE(json_test::same_tree(root, again));
        }
        // A member on its own writes as its key, a colon and its value.
        for (const json_node& member : root.children) {
            json_node value = member;
            value.key.clear();
            for (const bool pretty : {false, true})
                ASSERT_EQ(json_trees::written(member, pretty),
                          member.key.empty()
                              ? json_trees::written(value, pretty)
                              : "\"" + tarsion::escape_text(member.key) + (pretty ? "\": " : "\":")
                                    + json_trees::written(value, pretty));
        }
    }
}

// The lenient forms, each with the compact re-write of its tree (which shows
// each scalar's quoting too).
TEST(JsonReaderTable, LenientForms)
{
    const std::pair<std::string, std::string> cases[] = {
        // A trailing comma, and a closing bracket of the other kind.
        {"[1,]", "[1]"},
        {"[1}", "[1]"},
        {"{a:1}", R"({"a":1})"},
        {R"({"a":})", R"({"a":""})"},
        {R"([""])", "[]"},
        {R"(["",""])", R"(["",""])"},
        {"]", "\"\""},
        {"[1-2e,+.E,-1.5e3,@]", "[1-2e,+.E,-1.5e3,@]"},
        {R"(["a\/b\n\t\"\\\q"])", R"(["a\/b\n\t\"\\q"])"},
        {"\x01[\x1f"
         "1\x0b,\xff"
         "2]\x80",
         "[1,2]"},
        {std::string("[1]\0 trailing", 13), "[1]"},
        {"[[1] [2]]", "[[1,2]]"},
        // A lone backslash outside strings is an empty unquoted value.
        {R"([1,\])", "[1,]"},
        // A value directly followed by an opening bracket gives way to it.
        {R"(["x"[1]])", "[[1]]"},
        // A backslash as the last byte, after a zero byte, starts no escape.
        {std::string("[\"\\u00e9\"]\0\\", 12), "[\"\xc3\xa9\"]"},
    };
    for (const auto& [text, rewrite] : cases) {
        json_node root;
        ASSERT_TRUE(tarsion::parse_json(text, root)) << text;
        EXPECT_EQ(compact(root), rewrite) << text;
        EXPECT_TRUE(parent_links_hold(root)) << text;
    }
}

TEST(JsonReaderTable, Refusals)
{
    std::vector<std::string> cases{
        "",          " \n\t ",      R"({"a":1)",     "[[1]",          "[,1]",           "[1,,2]",
        R"({"a"})",  R"({"a"::1})", "[1:2]",         "[1 2]",         "{ab:1}",         R"({"":1,"b":2})",
        "42 43",     "trueX",       R"({"a":1} x)",  "[1]]",          "[] <html>",      "[1\x7f]",
        R"(["a\"])", "[\"a\\",      R"(["\u0000"])", R"([a\u0041b])", R"({k\u0009:1})", R"({k\u000A:1})"};
    cases.push_back(std::string("[\"a\0\"]", 6));
    for (const std::string& text : cases) {
        json_node root;
        EXPECT_FALSE(tarsion::parse_json(text, root)) << text;
    }
    // A refused text leaves what was read before the fault in place, each
    // node in the container it was added to, as appending as it reads would.
    const std::pair<std::string, std::string> partial[] = {{R"({"a":1,"b":[2,)", R"({"a":1,"b":[2,""]})"},
                                                           {R"([{"x":[true)", R"([{"x":[true]}])"},
                                                           {"[1 2]", "[1]"}};
    for (const auto& [text, held] : partial) {
        json_node root;
        EXPECT_FALSE(tarsion::parse_json(text, root)) << text;
        EXPECT_EQ(compact(root), held) << text;
    }
}

// What the \u pre-pass must make of a string of escapes, worked out from
// code points: a high surrogate directly followed by an escaped low one is
// one character in four bytes, any other unit is encoded alone (a lone low
// surrogate in three bytes). A high surrogate anywhere else, or a break
// between the escapes, leaves every escape undecoded, and unescaping then
// turns each "\u" into "u".
std::string expected_value(const std::vector<std::uint16_t>& units, const std::string& between,
                           const std::vector<std::string>& escapes)
{
    const auto high = [](std::uint32_t u) { return u >= 0xD800 && u <= 0xDBFF; };
    const auto low = [](std::uint32_t u) { return u >= 0xDC00 && u <= 0xDFFF; };
    std::string out;
    for (std::size_t i = 0; i < units.size(); ++i) {
        std::uint32_t cp = units[i];
        if (high(cp)) {
            if (!between.empty() || i + 1 == units.size() || !low(units[i + 1])) {
                std::string raw;
                for (std::size_t j = 0; j < escapes.size(); ++j)
                    raw += (j == 0 ? "" : between) + escapes[j].substr(1);
                return raw;
            }
            cp = 0x10000 + ((cp - 0xD800) << 10) + (units[++i] - 0xDC00);
        }
        if (i > 0 && !out.empty())
            out += between;
        const int extra = cp < 0x80 ? 0 : cp < 0x800 ? 1 : cp < 0x10000 ? 2 : 3;
        constexpr unsigned kLead[] = {0x00, 0xC0, 0xE0, 0xF0};
        out += static_cast<char>(kLead[extra] | (cp >> (6 * extra)));
        for (int k = extra - 1; k >= 0; --k)
            out += static_cast<char>(0x80 | ((cp >> (6 * k)) & 0x3F));
    }
    return out;
}

// Every sequence of one to three escapes over the units at the edges of
// each encoding length and surrogate range, the quote and the backslash
// among them, in either case of hexadecimal, with and without a break.
TEST(JsonReaderTable, UnicodeEscapesDecodeAllOrNoneInEveryCombination)
{
    const std::vector<std::uint16_t> edges{0x01,   0x22,   0x5C,   0x0A,   0x7F,   0x80,   0x7FF, 0x800,
                                           0xD7FF, 0xD800, 0xDBFF, 0xDC00, 0xDFFF, 0xE000, 0xFFFF};
    std::vector<std::vector<std::uint16_t>> sequences{{}};
    for (int length = 1; length <= 3; ++length) {
        std::vector<std::vector<std::uint16_t>> longer;
        for (const auto& sequence : sequences) {
            if (sequence.size() + 1 != std::size_t(length))
                continue;
            for (const std::uint16_t unit : edges) {
                longer.push_back(sequence);
                longer.back().push_back(unit);
            }
        }
        sequences.insert(sequences.end(), longer.begin(), longer.end());
    }
    for (const auto& units : sequences | std::views::drop(1)) {
        for (const std::string between : {"", "-"}) {
            std::vector<std::string> escapes;
            std::string text = "\"";
            for (std::size_t i = 0; i < units.size(); ++i) {
                char hex[8];
                std::snprintf(hex, sizeof hex, i % 2 ? "\\u%04X" : "\\u%04x", units[i]);
                escapes.emplace_back(hex);
                text += (i == 0 ? "" : between) + escapes.back();
            }
            text += "\"";
            json_node root;
            ASSERT_TRUE(tarsion::parse_json(text, root)) << text;
            ASSERT_EQ(root.value, expected_value(units, between, escapes)) << text;
        }
    }
    // A short or non-hexadecimal escape leaves all undecoded; an escaped
    // backslash does not hide the escape after it.
    for (const auto& [text, value] : {std::pair<std::string, std::string>{R"("\udc00\\u0041")", "\xed\xb0\x80"
                                                                                                "A"},
                                      {R"("\u00e9 \u12")", "u00e9 u12"},
                                      {R"("\ud83d\u0041\u00g9")", "ud83du0041u00g9"}}) {
        json_node root;
        ASSERT_TRUE(tarsion::parse_json(text, root)) << text;
        EXPECT_EQ(root.value, value) << text;
    }
}

// The only bytes written as two-character escapes; everything else is raw.
std::string escaped(std::string_view text)
{
    const std::string_view bytes("\n\t\r\f\b\\\"/"), letters("ntrfb\\\"/");
    std::string out;
    for (const char c : text) {
        const std::size_t at = bytes.find(c);
        out += at == std::string_view::npos ? std::string(1, c) : std::string{'\\', letters[at]};
    }
    return out;
}

TEST(JsonWriterEscape, EveryByteAtEveryPositionAndAlignment)
{
    for (int byte = 0; byte < 256; ++byte) {
        for (std::size_t length = 1; length <= 24; ++length) {
            for (std::size_t at = 0; at < length; ++at) {
                for (std::size_t offset = 0; offset < 8; offset += 3) {
                    std::string text(offset + length, 'a');
                    text[offset + at] = static_cast<char>(byte);
                    const std::string_view view = std::string_view(text).substr(offset);
                    ASSERT_EQ(tarsion::escape_text(view), escaped(view)) << "byte " << byte << " at " << at;
                    ASSERT_EQ(tarsion::unescape_text(escaped(view)), view) << "byte " << byte << " at " << at;
                }
            }
        }
    }
    // Every byte escaped, in a text that just fits a buffer size when each
    // is counted once.
    json_node quotes;
    quotes.set_value(std::string((1 << 20) - 100, '"'), true);
    EXPECT_TRUE(compact(quotes) == '"' + escaped(quotes.value) + '"');
    // Any other escaped byte stands for itself; a backslash at the end is dropped.
    EXPECT_EQ(tarsion::unescape_text("\\q\\u\\"), "qu");
    std::string out = "kept";
    tarsion::append_escaped(out, "a\"/\\\r\n");
    EXPECT_EQ(out, "kepta\\\"\\/\\\\\\r\\n");
}

TEST(JsonWriterInt64, AgreesWithToCharsAroundEveryPowerOfTen)
{
    std::vector<std::int64_t> values{std::numeric_limits<std::int64_t>::min(),
                                     std::numeric_limits<std::int64_t>::max()};
    for (std::int64_t p = 1; p <= std::numeric_limits<std::int64_t>::max() / 10; p *= 10) {
        for (const std::int64_t v : {p - 1, p, p + 1, 10 * p - 1})
            values.insert(values.end(), {v, -v});
    }
    for (const std::int64_t v : values) {
        char expected[24];
        const auto end = std::to_chars(expected, expected + sizeof expected, v).ptr;
        ASSERT_EQ(tarsion::format_int64(v), std::string(expected, end)) << v;
    }
    std::string out = "n=";
    tarsion::append_int64(out, -10);
    EXPECT_EQ(out, "n=-10");
}

TEST(JsonWriterLayout, CompactAndIndentedByFourSpaces)
{
    json_node root;
    ASSERT_TRUE(tarsion::parse_json(R"({"a":[1,"x",{}],"b":{"c":[]},"d":{"e":null}})", root));
    EXPECT_EQ(compact(root), R"({"a":[1,"x",{}],"b":{"c":[]},"d":{"e":null}})");
    std::string pretty;
    tarsion::write_json(root, pretty, true);
    EXPECT_EQ(
        pretty,
        "{\n    \"a\": [\n        1,\n        \"x\",\n        {}\n    ],\n    \"b\": {\n        \"c\": []\n"
        "    },\n    \"d\": {\n        \"e\": null\n    }\n}");
    for (const auto& [array, object, text] :
         {std::tuple{true, false, "[]"}, {false, true, "{}"}, {false, false, "\"\""}}) {
        json_node empty;
        empty.is_array = array;
        empty.is_object = object;
        EXPECT_EQ(compact(empty), text);
    }
}

} // namespace
