#pragma once

#include <algorithm>
#include <memory>

#include <QLabel>
#include <QPluginLoader>
#include <QPointer>
#include <QWidget>

#include <Vyx/CAbstractVyxPlugin.h>
#include <Vyx/CTarsionApp.h>
#include <Vyx/CVyxAccount.h>

namespace QuorvelTest {

inline const QString kNotSignedIn =
    QStringLiteral("Not signed in \u2014 SdkAdapter not attached. Click refresh after sign-in.");
inline const QString kResolving = QStringLiteral("Resolving duty channel\u2026");

// The plug-in as the host meets it: loaded from its built file, driven only
// through the host's interfaces, with the host's application and account and
// a page whose chat host is nested as forms have it.
struct LoadedPlugin
{
    LoadedPlugin(const QString& baseUrl, const QString& business)
    {
        app.setAccount(&account);
        app.setBaseUrl(baseUrl);
        app.setVyxBusinessId(business);
        instance = loader.instance();
        plugin = qobject_cast<IVyxPlugin*>(instance);
        model = qobject_cast<CViewModelBase*>(instance);
        (new QWidget(new QWidget(page.get())))->setObjectName(QStringLiteral("PART_chatHost"));
    }

    ~LoadedPlugin()
    {
        delete instance.data();
        page.reset();
    }

    // Initialises the plug-in and loads its page; false when it did not load.
    bool start()
    {
        if (plugin == nullptr || model == nullptr)
            return false;
        plugin->initialize();
        model->setView(page.get());
        model->onViewLoaded();
        return true;
    }

    bool shows(const QString& text) const
    {
        return std::ranges::any_of(page->findChildren<QLabel*>(),
                                   [&text](const QLabel* label) { return label->text() == text; });
    }

    void signIn(int user)
    {
        account.setSignedIn({QStringLiteral("user-%1").arg(user), QStringLiteral("User")},
                            QByteArray("token-") + QByteArray::number(user));
    }

    CTarsionApp app;
    CVyxAccount account;
    QPluginLoader loader{QStringLiteral(QUORVEL_PLUGIN_FILE)};
    QPointer<QObject> instance;
    IVyxPlugin* plugin = nullptr;
    CViewModelBase* model = nullptr;
    std::unique_ptr<QWidget> page = std::make_unique<QWidget>();
};

} // namespace QuorvelTest
