#include <gtest/gtest.h>

#include "sdk/core/string_body.h"
#include "sdk/qt/HttpBodyDevice.h"

namespace QuorvelSdk {
namespace {

class FailingBody : public tarsion::http::http_base::body
{
public:
    bool size(std::uint64_t&) const override { return false; }
    bool read(char*, std::uint64_t, std::uint64_t& count) override
    {
        count = 0;
        return false;
    }
};

std::unique_ptr<tarsion::http::http_base::body> bodyOver(const std::string& text)
{
    return tarsion::http::string_body::factory(text).create_body();
}

TEST(HttpBodyDevice, IsAReadOnlySequentialDeviceOfTheGivenSize)
{
    auto body = bodyOver("abcdef");
    HttpBodyDevice device(body.get(), 6);
    EXPECT_TRUE(device.isOpen());
    EXPECT_TRUE(device.isSequential());
    EXPECT_EQ(device.openMode(), QIODevice::ReadOnly);
    EXPECT_EQ(device.size(), 6);
    EXPECT_EQ(device.bytesAvailable(), 6);
    EXPECT_EQ(device.write("x", 1), -1);

    HttpBodyDevice unsized(body.get(), -1);
    EXPECT_EQ(unsized.size(), -1);
    EXPECT_EQ(unsized.bytesAvailable(), 0);
}

TEST(HttpBodyDevice, HandsOutTheBodyThenReportsTheEnd)
{
    auto body = bodyOver("abcdef");
    HttpBodyDevice device(body.get(), 6);
    char buffer[4];
    EXPECT_EQ(device.read(buffer, 4), 4);
    EXPECT_EQ(QByteArray(buffer, 4), "abcd");
    EXPECT_EQ(device.bytesAvailable(), 2);
    EXPECT_EQ(device.read(buffer, 4), 2);
    EXPECT_EQ(QByteArray(buffer, 2), "ef");
    // A zero-byte read from the body is the end of data, and it stays so.
    EXPECT_EQ(device.read(buffer, 4), -1);
    EXPECT_EQ(device.read(buffer, 4), -1);
}

TEST(HttpBodyDevice, DetachedDeviceReadsNothing)
{
    auto body = bodyOver("abcdef");
    HttpBodyDevice device(body.get(), 6);
    device.detach();
    body.reset(); // the sender may destroy its body once detached
    char buffer[4];
    EXPECT_EQ(device.read(buffer, 4), -1);
}

TEST(HttpBodyDevice, FailedBodyReadIsADeviceError)
{
    FailingBody body;
    HttpBodyDevice device(&body, -1);
    char buffer[4];
    EXPECT_EQ(device.read(buffer, 4), -1);
}

} // namespace
} // namespace QuorvelSdk
