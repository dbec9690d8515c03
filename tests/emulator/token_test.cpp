#include "EmulatorHarness.h"
#include "TokenStore.h"

#include <gtest/gtest.h>

namespace QuorvelEmulatorTest {
namespace {

using QuorvelEmulator::TokenStore;
using enum QuorvelEmulator::TokenStore::Check;

// The clock stands still, so "at the expiry instant" is exact: a token is
// valid strictly before its expiry, and one expired now is expired now.
TEST(EmulatorTokenStore, ATokenIsExpiredAtItsExpiryInstant)
{
    qint64 now = 5000;
    TokenStore store([&now] { return now; });
    const QByteArray lived = store.issue(2);
    const QByteArray cut = store.issue(2);
    const QByteArray all = store.issue(2);
    EXPECT_EQ(store.check("never-issued"), Unknown);

    EXPECT_TRUE(store.expire(cut));
    EXPECT_EQ(store.check(cut), Expired);
    EXPECT_EQ(store.check(lived), Valid);
    now = 6999;
    EXPECT_EQ(store.check(lived), Valid);
    store.expireAll();
    EXPECT_EQ(store.check(all), Expired);
    now = 7000;
    EXPECT_EQ(store.check(lived), Expired);
    EXPECT_FALSE(store.expire("never-issued"));
}

TEST(EmulatorToken, IssuesBearerTokensToTheConfiguredClientOnly)
{
    QuorvelEmulator::TokenSettings settings;
    settings.clientId = QStringLiteral("e2e client");
    settings.clientSecret = QStringLiteral("s3cr&t");
    settings.lifetimeSeconds = 90;
    EmulatorHarness emulator(settings);
    const QByteArray basic = "Basic " + QByteArray("e2e client:s3cr&t").toBase64();

    // Form encoding: the blank as '+', the ampersand percent-encoded.
    const Reply issued =
        emulator.requestToken("grant_type=client_credentials&client_id=e2e+client&client_secret=s3cr%26t");
    const Reply again = emulator.requestToken("grant_type=client_credentials", {{"Authorization", basic}});

    ASSERT_EQ(issued.status, 200) << issued.body.toStdString();
    const QJsonObject token = issued.json().object();
    EXPECT_EQ(token.value("token_type"), "Bearer");
    EXPECT_EQ(token.value("expires_in").toInteger(), 90);
    ASSERT_EQ(again.status, 200);
    EXPECT_NE(again.json().object().value("access_token"), token.value("access_token"));
    EXPECT_EQ(emulator.query("Bearer " + token.value("access_token").toString().toLatin1()).status, 200);

    for (const Reply& refused :
         {emulator.requestToken(kDemoForm), emulator.requestToken("grant_type=client_credentials")}) {
        EXPECT_EQ(refused.status, 401);
        EXPECT_EQ(refused.json().object().value("error"), "invalid_client");
        EXPECT_FALSE(refused.body.contains("access_token"));
    }
}

} // namespace
} // namespace QuorvelEmulatorTest
