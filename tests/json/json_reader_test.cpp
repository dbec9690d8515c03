#include <string>

#include <gtest/gtest.h>

#include "json_test_support.h"
#include "sdk/json/json_node.h"
#include "sdk/json/json_reader.h"
#include "sdk/json/unicode_escapes.h"

namespace {

using json_test::compact;
using tarsion::json_node;

// ---------------------------------------------------------------------------
// Texts the reader accepts, and the tree they give (as its compact re-write)

struct AcceptedCase
{
    const char* name;
    std::string text;
    std::string rewrite;
};

class JsonReaderAccepts : public testing::TestWithParam<AcceptedCase>
{
};

TEST_P(JsonReaderAccepts, GivesTree)
{
    const AcceptedCase& c = GetParam();
    json_node root;
    ASSERT_TRUE(tarsion::parse_json(c.text, root));
    EXPECT_EQ(compact(root), c.rewrite);
    EXPECT_TRUE(json_test::parent_links_hold(root));
}

INSTANTIATE_TEST_SUITE_P(
    Containers, JsonReaderAccepts,
    testing::Values(
        AcceptedCase{"EmptyObject", "{}", "{}"}, AcceptedCase{"EmptyArray", "[]", "[]"},
        AcceptedCase{"ArrayOfEmptyArray", "[[]]", "[[]]"}, AcceptedCase{"ArrayOfEmptyObject", "[{}]", "[{}]"},
        AcceptedCase{"NestedMix", R"({"a":[1,{"b":null}],"c":{}})", R"({"a":[1,{"b":null}],"c":{}})"},
        AcceptedCase{"DuplicateKeysKept", R"({"a":1,"a":2})", R"({"a":1,"a":2})"},
        AcceptedCase{"TrailingCommaInArray", "[1,]", "[1]"},
        AcceptedCase{"TrailingCommaInObject", R"({"a":1,})", R"({"a":1})"},
        AcceptedCase{"ArrayClosedByBrace", "[1}", "[1]"},
        AcceptedCase{"ObjectClosedByBracket", R"({"a":1])", R"({"a":1})"},
        AcceptedCase{"EmptyArrayClosedByBrace", "[}", "[]"},
        AcceptedCase{"UnquotedKey", "{a:1}", R"({"a":1})"},
        AcceptedCase{"NumberAsKey", "{12:1}", R"({"12":1})"},
        AcceptedCase{"MissingValueGivesEmptyString", R"({"a":})", R"({"a":""})"},
        // A lone empty string looks exactly like the slot made for a first
        // element, so closing the container removes it.
        AcceptedCase{"LoneEmptyStringElementVanishes", R"([""])", "[]"},
        AcceptedCase{"LoneEmptyMemberVanishes", R"({"":""})", "{}"},
        AcceptedCase{"TwoEmptyStringsKept", R"(["",""])", R"(["",""])"},
        AcceptedCase{"LoneNullKept", "[null]", "[null]"},
        // The root closed before anything opened it stays a fresh root.
        AcceptedCase{"LoneClosingBracket", "]", "\"\""}, AcceptedCase{"LoneClosingBrace", "}", "\"\""}),
    [](const auto& info) { return std::string(info.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Tokens, JsonReaderAccepts,
    testing::Values(AcceptedCase{"RootNumber", "  42  ", "42"},
                    // The rewrite shows each scalar's text and whether it was quoted.
                    AcceptedCase{"ScalarKinds", R"({"s":"42","n":42,"t":true,"u":x,"e":})",
                                 R"({"s":"42","n":42,"t":true,"u":x,"e":""})"},
                    AcceptedCase{"RootString", R"("x")", R"("x")"},
                    AcceptedCase{"RootLiteral", "true", "true"},
                    AcceptedCase{"TrailingWhitespace", "\"x\"  \t\r\n ", R"("x")"},
                    AcceptedCase{"NumbersNotValidated", "[1-2e,+.E,-1.5e3]", "[1-2e,+.E,-1.5e3]"},
                    AcceptedCase{"OtherByteIsOneToken", "[@,x]", "[@,x]"},
                    AcceptedCase{"Literals", "[true,false,null]", "[true,false,null]"},
                    AcceptedCase{"EscapesInString", R"(["a\/b\n\t\"\\\q"])", R"(["a\/b\n\t\"\\q"])"},
                    AcceptedCase{"EscapesInKey", R"({"a\"b":1})", R"({"a\"b":1})"},
                    // A decoded quote or backslash stays escaped for the tokenizer.
                    AcceptedCase{"UnicodeQuoteAndBackslashInTree", R"({"\u0022":["\u005c","x\u0022y"]})",
                                 R"({"\"":["\\","x\"y"]})"},
                    AcceptedCase{"ControlBytesBetweenTokens",
                                 "\x01[\x1f"
                                 "1\x0b]"
                                 "\x02",
                                 "[1]"},
                    AcceptedCase{"HighBytesBetweenTokens",
                                 "\xc3\xa9[1,\xff"
                                 "2]\x80",
                                 "[1,2]"},
                    AcceptedCase{"Utf8InsideStringsKept", "{\"\xc3\xa9\":\"\xe2\x82\xac\"}",
                                 "{\"\xc3\xa9\":\"\xe2\x82\xac\"}"},
                    AcceptedCase{"ZeroByteEndsText", std::string("[1]\0 trailing", 13), "[1]"}),
    [](const auto& info) { return std::string(info.param.name); });

// ---------------------------------------------------------------------------
// Texts the reader rejects

struct RejectedCase
{
    const char* name;
    std::string text;
};

class JsonReaderRejects : public testing::TestWithParam<RejectedCase>
{
};

TEST_P(JsonReaderRejects, ReturnsFalse)
{
    json_node root;
    EXPECT_FALSE(tarsion::parse_json(GetParam().text, root));
}

INSTANTIATE_TEST_SUITE_P(
    Cases, JsonReaderRejects,
    testing::Values(
        RejectedCase{"Empty", ""}, RejectedCase{"OnlyWhitespace", " \n\t "},
        RejectedCase{"UnclosedObject", R"({"a":1)"}, RejectedCase{"UnclosedArray", "[1,2"},
        RejectedCase{"UnclosedNested", "[[1]"}, RejectedCase{"TwoOpenBraces", "{{"},
        RejectedCase{"LeadingCommaInArray", "[,1]"}, RejectedCase{"CommaInEmptyObject", "{,}"},
        RejectedCase{"DoubleComma", "[1,,2]"}, RejectedCase{"KeyWithoutColon", R"({"a"})"},
        RejectedCase{"KeyThenValue", R"({"a" 1})"}, RejectedCase{"DoubleColon", R"({"a"::1})"},
        RejectedCase{"ColonWithoutKey", "{:1}"}, RejectedCase{"ColonInArray", "[1:2]"},
        RejectedCase{"OpenAfterKey", R"({"a"{}})"}, RejectedCase{"ArrayElementsWithoutComma", "[1 2]"},
        RejectedCase{"MembersWithoutComma", R"({"a":1 "b":2})"},
        // An unquoted key is a single one-byte token; a longer one is two values.
        RejectedCase{"LongUnquotedKey", "{ab:1}"},
        // After a comma the first member's key decides between key and value.
        RejectedCase{"KeyAfterEmptyFirstKey", R"({"":1,"b":2})"}, RejectedCase{"TwoRootScalars", "42 43"},
        RejectedCase{"LiteralWithTail", "trueX"}, RejectedCase{"LiteralWithTailInArray", "[falsey]"},
        RejectedCase{"TrailingToken", R"({"a":1} x)"}, RejectedCase{"TrailingBracket", "[1]]"},
        RejectedCase{"TrailingBrace", R"({"a":1}})"},
        // 0x7F is not below 33, so unlike the other control bytes it is a token.
        RejectedCase{"DeleteByteIsAToken", "[1\x7f]"}, RejectedCase{"LoneComma", ","},
        RejectedCase{"LoneColon", ":"}, RejectedCase{"UnterminatedString", R"(["abc)"},
        RejectedCase{"EscapedClosingQuote", R"(["a\"])"}, RejectedCase{"BackslashAtEnd", "[\"a\\"},
        RejectedCase{"ZeroByteInsideArray", std::string("[1\0]", 4)},
        RejectedCase{"ZeroByteInsideString", std::string("[\"a\0\"]", 6)},
        // The \u pre-pass turns these into a zero byte, which ends the text.
        RejectedCase{"EscapedZeroInRootString", R"("a\u0000b")"},
        RejectedCase{"EscapedZeroInArray", R"(["\u0000"])"}),
    [](const auto& info) { return std::string(info.param.name); });

// ---------------------------------------------------------------------------
// The \u pre-pass, seen through a whole parse: the text is one JSON string,
// so the root's value is what the string decodes to.

struct EscapeCase
{
    const char* name;
    std::string text;
    std::string value;
};

class JsonReaderUnicodeEscape : public testing::TestWithParam<EscapeCase>
{
};

TEST_P(JsonReaderUnicodeEscape, DecodesToValue)
{
    json_node root;
    ASSERT_TRUE(tarsion::parse_json(GetParam().text, root));
    EXPECT_EQ(root.value, GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, JsonReaderUnicodeEscape,
    testing::Values(EscapeCase{"Ascii", R"("\u0041")", "A"},
                    EscapeCase{"TwoByteLowerHex", R"("\u00e9")", "\xc3\xa9"},
                    EscapeCase{"TwoByteUpperHex", R"("\u00E9")", "\xc3\xa9"},
                    EscapeCase{"TwoByteBounds", R"("\u0080\u07ff")", "\xc2\x80\xdf\xbf"},
                    EscapeCase{"ThreeByteBounds", R"("\u0800\uffff")", "\xe0\xa0\x80\xef\xbf\xbf"},
                    EscapeCase{"SurrogatePair", R"("\ud83d\ude00")", "\xf0\x9f\x98\x80"},
                    EscapeCase{"HighestSurrogatePair", R"("\udbff\udfff")", "\xf4\x8f\xbf\xbf"},
                    EscapeCase{"LoneLowSurrogate", R"("\udc00")", "\xed\xb0\x80"},
                    EscapeCase{"Quote", R"("\u0022")", "\""}, EscapeCase{"Backslash", R"("\u005c")", "\\"},
                    EscapeCase{"LineFeed", R"("\u000a")", "\n"}, EscapeCase{"Solidus", R"("\u002f")", "/"},
                    // The pre-pass does not know about escaped backslashes: the second
                    // backslash starts an escape, and the first then escapes the "A".
                    EscapeCase{"EscapedBackslashStillDecodes", R"("\\u0041")", "A"},
                    // A single malformed escape leaves every escape of the text alone,
                    // and unescaping then turns each "\u" into "u".
                    EscapeCase{"TooFewDigits", R"("\u12")", "u12"},
                    EscapeCase{"MalformedBlocksWellFormed", R"("\u00e9 \u12")", "u00e9 u12"},
                    EscapeCase{"HighSurrogateBeforeQuote", R"("\ud83d")", "ud83d"},
                    EscapeCase{"HighSurrogateBeforeText", R"("\ud83dx \u00e9")", "ud83dx u00e9"},
                    EscapeCase{"HighSurrogateBeforeNonLow", R"("\ud83d\u0041")", "ud83du0041"},
                    EscapeCase{"HighSurrogateBeforeHigh", R"("\ud83d\ud83d")", "ud83dud83d"}),
    [](const auto& info) { return std::string(info.param.name); });

// The pre-pass on its own, where its output text is visible.
struct PrePassCase
{
    const char* name;
    std::string text;
    bool decoded;
    std::string output;
};

class JsonReaderPrePass : public testing::TestWithParam<PrePassCase>
{
};

TEST_P(JsonReaderPrePass, RewritesText)
{
    const PrePassCase& c = GetParam();
    std::string out = "untouched";
    EXPECT_EQ(tarsion::decode_unicode_escapes(c.text, out), c.decoded);
    EXPECT_EQ(out, c.decoded ? c.output : std::string("untouched"));
}

INSTANTIATE_TEST_SUITE_P(
    Cases, JsonReaderPrePass,
    testing::Values(PrePassCase{"KeepsNamedControlsEscaped", R"(\u0008\u0009\u000a\u000c\u000d)", true,
                                R"(\b\t\n\f\r)"},
                    PrePassCase{"KeepsQuoteAndBackslashEscaped", R"(\u0022\u005C)", true, R"(\"\\)"},
                    PrePassCase{"OtherControlsBecomeBytes", R"(\u0001\u001f\u007f)", true, "\x01\x1f\x7f"},
                    PrePassCase{"Zero", R"(a\u0000b)", true, std::string("a\0b", 3)},
                    PrePassCase{"IgnoresStringBoundaries", R"([\u0031])", true, "[1]"},
                    PrePassCase{"NoUnicodeEscapeLeavesTextAlone", R"(\n\\\"x)", false, ""},
                    PrePassCase{"HighSurrogateAtEndOfText", R"(\u00e9\ud83d)", false, ""},
                    PrePassCase{"TruncatedAtEndOfText", R"(\u00e9\u00e)", false, ""},
                    PrePassCase{"NonHexDigit", R"(\u00g9)", false, ""}),
    [](const auto& info) { return std::string(info.param.name); });

// ---------------------------------------------------------------------------
// unescape_text

struct UnescapeCase
{
    const char* name;
    std::string span;
    std::string text;
};

class JsonReaderUnescape : public testing::TestWithParam<UnescapeCase>
{
};

TEST_P(JsonReaderUnescape, ReplacesEachBackslashPair)
{
    EXPECT_EQ(tarsion::unescape_text(GetParam().span), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(Cases, JsonReaderUnescape,
                         testing::Values(UnescapeCase{"NoEscapes", "plain", "plain"},
                                         UnescapeCase{"NamedControls", R"(\b\f\n\r\t)", "\b\f\n\r\t"},
                                         UnescapeCase{"KeptAsTheyStand", R"(\"\\\/)", "\"\\/"},
                                         UnescapeCase{"UnknownLetterKept", R"(\u0041\q)", "u0041q"},
                                         UnescapeCase{"BetweenText", R"(a\nb\tc)", "a\nb\tc"},
                                         UnescapeCase{"DoubleBackslashThenLetter", R"(\\n)", "\\n"},
                                         UnescapeCase{"Empty", "", ""}),
                         [](const auto& info) { return std::string(info.param.name); });

} // namespace
