// The plug-in's page follows the account. What the host process makes of
// the plug-in is the end-to-end suite's business.
#include <gtest/gtest.h>

#include <QHBoxLayout>
#include <QImage>
#include <QJsonObject>

#include <qtHelpers/Images.h>

#include "LoadedPlugin.h"
#include "support/qt/Golden.h"

namespace QuorvelTest {
namespace {

// The page shows where things stand as soon as it loads, whether the user
// signed in before the page existed or after, and follows each change.
TEST(PluginTest, FollowsTheAccountsSignInsAndSignOuts)
{
    {
        // One plug-in instance per process: this one goes before the next loads.
        LoadedPlugin early(QStringLiteral("http://127.0.0.1:1"), QStringLiteral("demo"));
        early.signIn(1);
        ASSERT_TRUE(early.start()) << early.loader.errorString().toStdString();
        EXPECT_TRUE(early.shows(kResolving));
    }

    LoadedPlugin host(QStringLiteral("http://127.0.0.1:1"), QStringLiteral("demo"));
    ASSERT_TRUE(host.start());
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
    EXPECT_EQ(captioned->getIcon().pixmap(32, 32).toImage(),
              qtHelpers::images::icon(QStringLiteral("ico-plugin-no-news")).pixmap(32, 32).toImage());
    EXPECT_EQ(plugin.getPluginView(), host.page.get());
    EXPECT_EQ(plugin.getPluginToolsPanel(), nullptr);
    EXPECT_EQ(plugin.getEmptyListItemsWidget(), nullptr);
    captioned->setPersistentState({{"k", 1}});
    EXPECT_EQ(captioned->persistentState(), (QVariantMap{{"k", 1}}));
}

// A page it cannot fill is a set-up fault the host hears of: thrown, with
// the reason. A chat host keeps a layout it has, and one without gets a
// vertical one with no margins.
TEST(PluginTest, FillsOnlyAPageWithAChatHost)
{
    for (const bool hasLayout : {true, false}) {
        LoadedPlugin host(QStringLiteral("http://127.0.0.1:1"), QStringLiteral("demo"));
        auto* chatHost = host.page->findChild<QWidget*>(QStringLiteral("PART_chatHost"));
        QLayout* layout = hasLayout ? new QHBoxLayout(chatHost) : nullptr;
        if (layout != nullptr)
            layout->setContentsMargins(7, 7, 7, 7);
        ASSERT_TRUE(host.start());
        ASSERT_NE(chatHost->layout(), nullptr);
        EXPECT_EQ(chatHost->layout()->count(), 1);
        EXPECT_EQ(chatHost->layout()->contentsMargins(), hasLayout ? QMargins(7, 7, 7, 7) : QMargins());
        EXPECT_TRUE(hasLayout ? chatHost->layout() == layout
                              : qobject_cast<QVBoxLayout*>(chatHost->layout()) != nullptr);
    }
    LoadedPlugin elsewhere(QStringLiteral("http://127.0.0.1:1"), QStringLiteral("demo"));
    elsewhere.page->findChild<QWidget*>(QStringLiteral("PART_chatHost"))
        ->setObjectName(QStringLiteral("other"));
    try {
        elsewhere.start();
        ADD_FAILURE() << "a page without a chat host was filled";
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), "QWidget. No control found: PART_chatHost");
    }
    LoadedPlugin viewless(QStringLiteral("http://127.0.0.1:1"), QStringLiteral("demo"));
    viewless.plugin->initialize();
    EXPECT_THROW(viewless.model->onViewLoaded(), std::runtime_error);
}

// A sign-in whose client the host has already deleted attaches nothing: with
// no client there are no tokens.
TEST(PluginTest, AttachesNoChainWithoutASignInClient)
{
    LoadedPlugin host(QStringLiteral("http://127.0.0.1:1"), QStringLiteral("demo"));
    ASSERT_TRUE(host.start());
    delete host.account.getAmbrelClient().data();
    Q_EMIT host.account.signedInUserChanged({QStringLiteral("user-1"), QStringLiteral("User")});
    EXPECT_TRUE(host.shows(kNotSignedIn));
}

// The host's own answers, which a plug-in keeps unless it gives its own,
// and its icons.
TEST(PlatformDefaults, APageThatOverridesNothingGetsTheHostsAnswers)
{
    CAbstractVyxPlugin page;
    page.setObjectName(QStringLiteral("Page"));
    IVyxPlugin& plugin = page;
    const QStringList texts{page.getCaption(),     plugin.getPluginCaption(), plugin.getPluginTitle(),
                            plugin.getTooltip(),   plugin.getPluginId(),      plugin.getSettingsKey(),
                            page.getViewFileName()};
    EXPECT_EQ(texts, (QStringList{"Page", "Page", "Page", "Page", "Page", "Page", ""}));
    const QList<int> numbers{plugin.getSortWeight(), plugin.getBadgeCount(), plugin.getViewItemIndentation()};
    EXPECT_EQ(numbers, (QList<int>{0, 0, 0}));
    const QList<bool> flags{page.canRefresh(),
                            page.canClose(),
                            plugin.isPinned(),
                            plugin.isVisible(),
                            plugin.getViewItemRootDecorated(),
                            page.getIcon().isNull(),
                            plugin.getPluginItemData().isValid()};
    EXPECT_EQ(flags, (QList<bool>{false, true, false, true, false, true, false}));
    // Each icon as its colour and a map of its pixels' opacity.
    for (const QString& name : {QStringLiteral("ico-plugin-no-news"), QStringLiteral("ico-other")}) {
        const QImage image = qtHelpers::images::icon(name).pixmap(32, 32).toImage();
        QString map = image.pixelColor(16, 16).name() + u'\n';
        for (int y = 0; y < image.height(); ++y, map += u'\n')
            for (int x = 0; x < image.width(); ++x)
                map += QLatin1Char("_.:-=+*#%@"[image.pixelColor(x, y).alpha() * 9 / 255]);
        EXPECT_TRUE(matchesGolden(QStringLiteral(QUORVEL_GOLDEN_DIR "/%1.txt").arg(name), map));
    }
}

} // namespace
} // namespace QuorvelTest
