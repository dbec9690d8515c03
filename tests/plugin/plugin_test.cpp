// The plug-in's page follows the account. What the host process makes of
// the plug-in is the end-to-end suite's business.
#include <gtest/gtest.h>

#include "LoadedPlugin.h"

namespace QuorvelTest {
namespace {

// The chain is attached at start, before the page exists; the page shows
// where things stand as soon as it loads.
TEST(PluginTest, SignedInAtStartResolvesWithoutBeingAsked)
{
    LoadedPlugin host(QStringLiteral("http://127.0.0.1:1"), QStringLiteral("demo"));
    host.signIn(1);
    ASSERT_TRUE(host.start()) << host.loader.errorString().toStdString();
    EXPECT_TRUE(host.shows(kResolving));
}

TEST(PluginTest, FollowsTheAccountsSignInsAndSignOuts)
{
    LoadedPlugin host(QStringLiteral("http://127.0.0.1:1"), QStringLiteral("demo"));
    ASSERT_TRUE(host.start()) << host.loader.errorString().toStdString();
    EXPECT_TRUE(host.shows(kNotSignedIn));
    host.signIn(1);
    EXPECT_TRUE(host.shows(kResolving));
    host.account.signOut();
    EXPECT_TRUE(host.shows(kNotSignedIn));
    host.signIn(2);
    EXPECT_TRUE(host.shows(kResolving));
}

} // namespace
} // namespace QuorvelTest
