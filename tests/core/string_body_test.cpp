#include <gtest/gtest.h>

#include <array>

#include "sdk/core/string_body.h"

namespace tarsion::http {
namespace {

class RecordingLogger : public logger
{
public:
    void write(std::uint32_t level, const std::string& tag, const std::string& text) override
    {
        lines.push_back(std::to_string(level) + "|" + tag + "|" + text);
    }
    std::vector<std::string> lines;
};

std::string read_all(http_base::body& body, std::uint64_t chunk)
{
    std::string out;
    std::vector<char> buffer(chunk);
    for (;;) {
        std::uint64_t count = 99;
        EXPECT_TRUE(body.read(buffer.data(), chunk, count));
        if (count == 0)
            return out;
        EXPECT_LE(count, chunk);
        out.append(buffer.data(), count);
    }
}

// A missing text behaves as an empty one.
TEST(StringBody, EmptyOrMissingTextHasSizeZeroAndReadsNothing)
{
    const string_body::factory factory{std::string()};
    const auto empty = factory.create_body();
    string_body missing{nullptr};
    for (http_base::body* body : {empty.get(), static_cast<http_base::body*>(&missing)}) {
        std::uint64_t length = 7;
        EXPECT_TRUE(body->size(length));
        EXPECT_EQ(length, 0u);
        char c = 'x';
        std::uint64_t count = 7;
        EXPECT_TRUE(body->read(&c, 1, count));
        EXPECT_EQ(count, 0u);
    }
}

TEST(StringBody, ReadsInChunksUpToCapacity)
{
    const std::string text = "0123456789abcdefghij";
    string_body::factory factory{text};
    for (std::uint64_t chunk : {1u, 3u, 7u, 20u, 64u}) {
        auto body = factory.create_body();
        std::uint64_t length = 0;
        ASSERT_TRUE(body->size(length));
        EXPECT_EQ(length, text.size());
        EXPECT_EQ(read_all(*body, chunk), text) << "chunk " << chunk;
    }
}

TEST(StringBody, ZeroCapacityAndNullBufferRules)
{
    string_body::factory factory{std::string("abc")};
    auto body = factory.create_body();
    std::uint64_t count = 5;
    // Asking for nothing succeeds even without a buffer.
    EXPECT_TRUE(body->read(nullptr, 0, count));
    EXPECT_EQ(count, 0u);
    // Bytes remain and there is nowhere to put them.
    count = 5;
    EXPECT_FALSE(body->read(nullptr, 2, count));
    EXPECT_EQ(count, 0u);
    // The failed read consumed nothing.
    EXPECT_EQ(read_all(*body, 8), "abc");
    // At the end, even a null buffer succeeds.
    count = 5;
    EXPECT_TRUE(body->read(nullptr, 2, count));
    EXPECT_EQ(count, 0u);
}

TEST(StringBody, BodiesOfOneFactoryReadIndependently)
{
    string_body::factory factory{std::string("payload")};
    auto first = factory.create_body();
    auto second = factory.create_body();
    EXPECT_EQ(read_all(*first, 4), "payload");
    EXPECT_EQ(read_all(*second, 100), "payload");
}

TEST(StringBody, FactoryLogsTheWholeTextAsOneMessage)
{
    string_body::factory factory{std::string("{\"a\":1}\nline two")};
    RecordingLogger log;
    factory.log_body(log, 1, "tqc_sdk");
    EXPECT_EQ(log.lines, (std::vector<std::string>{"1|tqc_sdk|{\"a\":1}\nline two"}));
}

} // namespace
} // namespace tarsion::http
