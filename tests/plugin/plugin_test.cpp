// The plug-in as the host meets it: loaded from the built library with
// QPluginLoader, driven only through the host's interfaces.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QHBoxLayout>
#include <QJsonObject>
#include <QLabel>
#include <QLibrary>
#include <QPluginLoader>
#include <QPointer>

#include <Vyx/CAbstractVyxPlugin.h>
#include <Vyx/CTarsionApp.h>
#include <Vyx/CVyxAccount.h>

#include "support/qt/LogCapture.h"

namespace {

// Counts a signal found by name, since the plug-in's classes live in its own
// library and cannot be cast to from here.
class SignalCounter : public QObject
{
    Q_OBJECT

public:
    int count = 0;

public Q_SLOTS:
    void hit() { ++count; }
};

QString pluginPath()
{
    return QStringLiteral(QUORVEL_PLUGIN_FILE);
}

class PluginTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        app.setAccount(&account);
        app.setBaseUrl(QStringLiteral("http://127.0.0.1:1"));
        app.setVyxBusinessId(QStringLiteral("demo"));
        instance = loader.instance();
        ASSERT_NE(instance, nullptr) << loader.errorString().toStdString();
        plugin = qobject_cast<IVyxPlugin*>(instance);
        model = qobject_cast<CViewModelWithCaption*>(instance);
        ASSERT_NE(plugin, nullptr);
        ASSERT_NE(model, nullptr);
    }

    void TearDown() override
    {
        // Deleting the object, not unloading the library: a later instance()
        // must make a fresh one.
        delete instance.data();
        delete page.data();
    }

    QObject* chatService() const
    {
        for (QObject* child : instance->children()) {
            if (QLatin1String(child->metaObject()->className()) == "QuorvelChat::ChatService")
                return child;
        }
        return nullptr;
    }

    // Counts adapterChanged() of the plug-in's chat service.
    void countAdapterChanges()
    {
        QObject* service = chatService();
        ASSERT_NE(service, nullptr);
        ASSERT_TRUE(QObject::connect(service, SIGNAL(adapterChanged()), &changes, SLOT(hit())));
    }

    // A page with "PART_chatHost" inside a nested widget, as forms have it.
    QWidget* makePage(bool withHost = true)
    {
        page = new QWidget;
        auto* inner = new QWidget(page);
        if (withHost)
            (new QWidget(inner))->setObjectName(QStringLiteral("PART_chatHost"));
        return page;
    }

    QStringList viewTexts() const
    {
        QStringList texts;
        if (page)
            for (QLabel* label : page->findChildren<QLabel*>())
                texts << label->text();
        return texts;
    }

    void signIn(const QString& user) { account.setSignedIn({user, user}, "token"); }

    CTarsionApp app;
    CVyxAccount account;
    QPluginLoader loader{pluginPath()};
    QPointer<QObject> instance;
    IVyxPlugin* plugin = nullptr;
    CViewModelWithCaption* model = nullptr;
    QPointer<QWidget> page;
    SignalCounter changes;
};

TEST_F(PluginTest, CarriesTheHostsMetadata)
{
    const QJsonObject meta = loader.metaData();
    EXPECT_EQ(meta.value("IID").toString(), IVyxPlugin_iid);
    EXPECT_EQ(meta.value("className").toString(), "CQuorvelChatPlugin");
    const QJsonObject own = meta.value("MetaData").toObject();
    EXPECT_EQ(own.keys(), (QStringList{"disableOnWinPE", "inHouseBuild"}));
    EXPECT_TRUE(own.value("disableOnWinPE").isBool());
    EXPECT_FALSE(own.value("disableOnWinPE").toBool());
    EXPECT_TRUE(own.value("inHouseBuild").toBool());
}

TEST_F(PluginTest, InstanceFunctionKeepsOneObjectPerProcess)
{
    QLibrary library(pluginPath());
    auto instanceFunction = reinterpret_cast<QObject* (*)()>(library.resolve("qt_plugin_instance"));
    ASSERT_NE(instanceFunction, nullptr);
    EXPECT_EQ(instanceFunction(), instance.data());
    EXPECT_EQ(instanceFunction(), instance.data());
    EXPECT_EQ(instance->parent(), nullptr);

    delete instance.data();
    QObject* fresh = instanceFunction();
    ASSERT_NE(fresh, nullptr);
    EXPECT_EQ(instanceFunction(), fresh);
    instance = fresh;
}

TEST_F(PluginTest, IdentifiesItselfAsTheChatPage)
{
    EXPECT_STREQ(instance->metaObject()->className(), "CQuorvelChatPlugin");
    EXPECT_EQ(instance->objectName(), "CQuorvelChatPlugin");
    EXPECT_EQ(model->getCaption(), "Chat");
    EXPECT_EQ(plugin->getPluginCaption(), "Chat");
    EXPECT_EQ(model->getViewFileName(), "quorvelChat.mainScreen.ui");
    EXPECT_EQ(plugin->getPluginId(), "quorvelChat");
    EXPECT_EQ(plugin->getSettingsKey(), "quorvelChat");
    EXPECT_TRUE(model->canRefresh());
    EXPECT_FALSE(model->canClose());
    EXPECT_FALSE(plugin->isPinned());
    EXPECT_EQ(plugin->getBadgeCount(), 0);
    EXPECT_FALSE(plugin->getPluginItemData().isValid());
    const QMetaObject* meta = instance->metaObject();
    EXPECT_GE(meta->indexOfSlot("onPluginItemSelected(QModelIndex,QModelIndex)"), 0);
    EXPECT_GE(meta->indexOfSlot("onSignedInUserChanged(Ambrel::SignIn::UserInfo)"), 0);
}

TEST_F(PluginTest, SignedOutAtStartThenSignedIn)
{
    plugin->initialize();
    countAdapterChanges();
    model->setView(makePage());
    model->onViewLoaded();
    EXPECT_TRUE(
        viewTexts().contains("Not signed in \u2014 SdkAdapter not attached. Click refresh after sign-in."));

    signIn("alice");
    EXPECT_EQ(changes.count, 1);
    EXPECT_TRUE(viewTexts().contains("Resolving duty channel\u2026"));
}

TEST_F(PluginTest, SignedInAtStartResolvesWithoutBeingAsked)
{
    signIn("alice");
    plugin->initialize();
    model->setView(makePage());
    model->onViewLoaded();
    EXPECT_TRUE(viewTexts().contains("Resolving duty channel\u2026"));
}

TEST_F(PluginTest, SignInWhileAttachedReplacesTheChain)
{
    plugin->initialize();
    countAdapterChanges();
    signIn("alice");
    signIn("bob");
    EXPECT_EQ(changes.count, 3); // attach, then detach and attach again
}

TEST_F(PluginTest, EmptyUserDetaches)
{
    plugin->initialize();
    countAdapterChanges();
    model->setView(makePage());
    model->onViewLoaded();
    signIn("alice");
    signIn(QString());
    EXPECT_EQ(changes.count, 2);
    EXPECT_TRUE(
        viewTexts().contains("Not signed in \u2014 SdkAdapter not attached. Click refresh after sign-in."));
}

TEST_F(PluginTest, MissingChatHostIsFatalWithItsMessage)
{
    plugin->initialize();
    model->setView(makePage(false));
    QuorvelTest::LogCapture log;
    try {
        model->onViewLoaded();
        FAIL() << "no error raised";
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), "QWidget. No control found: PART_chatHost");
    }
    EXPECT_EQ(log.count("QWidget. No control found: PART_chatHost"), 1);
}

TEST_F(PluginTest, MissingViewIsFatalWithItsMessage)
{
    plugin->initialize();
    QuorvelTest::LogCapture log;
    try {
        model->onViewLoaded();
        FAIL() << "no error raised";
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), "No view loaded for model CQuorvelChatPlugin");
    }
    EXPECT_EQ(log.count("No view loaded for model CQuorvelChatPlugin"), 1);
}

TEST_F(PluginTest, ExistingLayoutOfTheChatHostIsKept)
{
    plugin->initialize();
    makePage();
    auto* host = page->findChild<QWidget*>("PART_chatHost");
    auto* layout = new QHBoxLayout(host);
    layout->setContentsMargins(5, 6, 7, 8);
    model->setView(page);
    model->onViewLoaded();
    EXPECT_EQ(host->layout(), layout);
    EXPECT_EQ(layout->contentsMargins(), QMargins(5, 6, 7, 8));
    ASSERT_EQ(layout->count(), 1);
    EXPECT_STREQ(layout->itemAt(0)->widget()->metaObject()->className(), "QuorvelChat::DebugInfoWidget");
}

TEST_F(PluginTest, ChatHostWithoutLayoutGetsAMarginlessOne)
{
    plugin->initialize();
    model->setView(makePage());
    model->onViewLoaded();
    auto* host = page->findChild<QWidget*>("PART_chatHost");
    ASSERT_NE(host->layout(), nullptr);
    EXPECT_STREQ(host->layout()->metaObject()->className(), "QVBoxLayout");
    EXPECT_EQ(host->layout()->contentsMargins(), QMargins(0, 0, 0, 0));
}

TEST_F(PluginTest, NoAccountMeansNoChainButAWorkingService)
{
    app.setAccount(nullptr);
    plugin->initialize();
    ASSERT_NE(chatService(), nullptr);
    model->setView(makePage());
    model->onViewLoaded();
    plugin->refresh();
    EXPECT_TRUE(
        viewTexts().contains("Not signed in \u2014 SdkAdapter not attached. Click refresh after sign-in."));
}

} // namespace

#include "plugin_test.moc"
