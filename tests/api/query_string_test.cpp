#include <gtest/gtest.h>

#include <string>

#include "sdk/api/query_string.h"

namespace tarsion::quorvel::api {
namespace {

struct encoding_case
{
    const char* name;
    std::string raw;
    std::string encoded;
};

class PercentEncode : public ::testing::TestWithParam<encoding_case>
{
};

TEST_P(PercentEncode, KeepsUnreservedBytesAndEncodesTheRest)
{
    const encoding_case& c = GetParam();
    EXPECT_EQ(percent_encode(c.raw), c.encoded);
}

std::string every_byte_but_unreserved()
{
    std::string raw;
    for (int b = 0; b < 256; ++b) {
        const char c = static_cast<char>(b);
        const bool unreserved = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9')
                                || c == '-' || c == '.' || c == '_' || c == '~';
        if (!unreserved)
            raw.push_back(c);
    }
    return raw;
}

INSTANTIATE_TEST_SUITE_P(
    Values, PercentEncode,
    ::testing::Values(encoding_case{"Empty", "", ""},
                      encoding_case{"Unreserved",
                                    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~",
                                    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~"},
                      encoding_case{"BlankAndAmpersand", "a b&c", "a%20b%26c"},
                      encoding_case{"Utf8ByteByByte", "\xc3\xa9t\xc3\xa9", "%C3%A9t%C3%A9"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(PercentEncodeAllBytes, EveryOtherByteBecomesThreeCharacters)
{
    const std::string raw = every_byte_but_unreserved();
    ASSERT_EQ(raw.size(), 256u - 66u);
    const std::string encoded = percent_encode(raw);
    ASSERT_EQ(encoded.size(), raw.size() * 3);
    static constexpr char kHex[] = "0123456789ABCDEF";
    for (std::size_t i = 0; i < raw.size(); ++i) {
        const auto b = static_cast<unsigned char>(raw[i]);
        const std::string expected{'%', kHex[b >> 4], kHex[b & 0xF]};
        EXPECT_EQ(encoded.substr(i * 3, 3), expected) << "byte " << int(b);
    }
}

TEST(QueryParameter, FirstIsIntroducedByQuestionMarkTheRestByAmpersand)
{
    std::string path = "/p";
    append_query_parameter(path, "A", "1");
    EXPECT_EQ(path, "/p?A=1");
    append_query_parameter(path, "B", "");
    EXPECT_EQ(path, "/p?A=1&B=");
    append_query_parameter(path, "C", "x%20y");
    EXPECT_EQ(path, "/p?A=1&B=&C=x%20y");
}

} // namespace
} // namespace tarsion::quorvel::api
