// The plug-in's page follows the account. What the host process makes of
// the plug-in is the end-to-end suite's business.
#include <gtest/gtest.h>

#include <QHBoxLayout>
#include <QJsonObject>

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

// Everything the host asks of the page before and after loading it: the
// plug-in's own answers and the ones it keeps from the host's base.
TEST(PluginTest, AnswersTheHostsQuestionsAboutThePage)
{
    LoadedPlugin host(QStringLiteral("http://127.0.0.1:1"), QStringLiteral("demo"));
    ASSERT_TRUE(host.start()) << host.loader.errorString().toStdString();
    IVyxPlugin& plugin = *host.plugin;
    auto* captioned = qobject_cast<CViewModelPersistent*>(host.instance.data());
    ASSERT_NE(captioned, nullptr);
    EXPECT_EQ(host.loader.metaData().value("className").toString(), "CQuorvelChatPlugin");
    EXPECT_EQ(host.loader.metaData().value("MetaData").toObject(),
              (QJsonObject{{"disableOnWinPE", false}, {"inHouseBuild", true}}));
    EXPECT_EQ(host.instance->objectName(), "CQuorvelChatPlugin");
    EXPECT_EQ(QPluginLoader(QStringLiteral(QUORVEL_PLUGIN_FILE)).instance(), host.instance.data());
    const QStringList texts{captioned->getCaption(),      plugin.getPluginCaption(), plugin.getPluginTitle(),
                            plugin.getTooltip(),          plugin.getPluginId(),      plugin.getSettingsKey(),
                            host.model->getViewFileName()};
    EXPECT_EQ(texts, (QStringList{"Chat", "Chat", "Chat", "Chat", "quorvelChat", "quorvelChat",
                                  "quorvelChat.mainScreen.ui"}));
    const QList<int> numbers{plugin.getSortWeight(), plugin.getBadgeCount(), plugin.getViewItemIndentation()};
    EXPECT_EQ(numbers, (QList<int>{0, 0, 0}));
    const QList<bool> flags{host.model->canRefresh(), host.model->canClose(), plugin.isPinned(),
                            plugin.isVisible(), plugin.getViewItemRootDecorated()};
    EXPECT_EQ(flags, (QList<bool>{true, false, false, true, false}));
    EXPECT_FALSE(plugin.getPluginItemData().isValid());
    EXPECT_EQ(plugin.getPluginView(), host.page.get());
    EXPECT_EQ(plugin.getPluginToolsPanel(), nullptr);
    EXPECT_EQ(plugin.getEmptyListItemsWidget(), nullptr);
    captioned->setPersistentState({{"k", 1}});
    EXPECT_EQ(captioned->persistentState(), (QVariantMap{{"k", 1}}));
}

// A page it cannot fill is a set-up fault the host hears of: logged as
// critical and thrown, with the reason. A chat host that has a layout keeps it.
TEST(PluginTest, FillsOnlyAPageWithAChatHost)
{
    for (const bool hasHost : {false, true}) {
        LoadedPlugin host(QStringLiteral("http://127.0.0.1:1"), QStringLiteral("demo"));
        auto* chatHost = host.page->findChild<QWidget*>(QStringLiteral("PART_chatHost"));
        if (!hasHost)
            chatHost->setObjectName(QStringLiteral("elsewhere"));
        auto* layout = new QHBoxLayout(chatHost);
        layout->setContentsMargins(7, 7, 7, 7);
        host.plugin->initialize();
        host.model->setView(host.page.get());
        if (!hasHost) {
            EXPECT_THROW(
                {
                    try {
                        host.model->onViewLoaded();
                    } catch (const std::runtime_error& e) {
                        EXPECT_STREQ(e.what(), "QWidget. No control found: PART_chatHost");
                        throw;
                    }
                },
                std::runtime_error);
            continue;
        }
        host.model->onViewLoaded();
        EXPECT_EQ(chatHost->layout(), layout);
        EXPECT_EQ(layout->contentsMargins(), QMargins(7, 7, 7, 7));
        EXPECT_EQ(layout->count(), 1);
    }
    LoadedPlugin viewless(QStringLiteral("http://127.0.0.1:1"), QStringLiteral("demo"));
    viewless.plugin->initialize();
    EXPECT_THROW(viewless.model->onViewLoaded(), std::runtime_error);
}

} // namespace
} // namespace QuorvelTest
