#pragma once

#include <memory>

#include <QPointer>

#include <Ambrel/SignIn.h>
#include <Vyx/CAbstractVyxPlugin.h>

namespace QuorvelSdk {
class AmbrelTokenProvider;
}
namespace QuorvelChat {
class ChatService;
class DebugInfoWidget;
} // namespace QuorvelChat

// The "Chat" page: fills the host's page with the diagnostic chat view and
// keeps an SDK chain attached exactly while a user is signed in.
class CQuorvelChatPlugin : public CAbstractVyxPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID IVyxPlugin_iid FILE "quorvelChat.json")
    Q_INTERFACES(IVyxPlugin)

public:
    explicit CQuorvelChatPlugin(QObject* parent = nullptr);
    ~CQuorvelChatPlugin() override;

    // View model.
    QString getViewFileName() const override;
    void onViewLoaded() override;
    QString getCaption() const override;
    QIcon getIcon() const override;
    bool canRefresh() const override;
    bool canClose() const override;
    void onViewActivated() override;

    // Plug-in interface.
    QString getPluginCaption() override;
    QVariant getPluginItemData() override;
    int getBadgeCount() override;
    void pluginItemSelected(const QModelIndex& index, const QModelIndex& previous) override;
    void refresh() override;
    void initialize() override;
    QString getPluginId() override;
    QString getSettingsKey() override;
    bool isPinned() override;

public Q_SLOTS:
    void onPluginItemSelected(QModelIndex index, QModelIndex prev);
    void onSignedInUserChanged(Ambrel::SignIn::UserInfo info);

private:
    void attachSdkChain();
    [[noreturn]] void fail(const QString& message) const;

    std::unique_ptr<QuorvelSdk::AmbrelTokenProvider> tokenProvider;
    std::unique_ptr<QuorvelChat::ChatService> chatService;
    QPointer<QuorvelChat::DebugInfoWidget> chatView;
};
