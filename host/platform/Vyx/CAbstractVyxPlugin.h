#pragma once

#include "Vyx/CViewModelBase.h"
#include "Vyx/IVyxPlugin.h"
#include "VyxPlatformExport.h"

// The base of every plug-in: a persistent view model that is also the
// host's plug-in interface, with the host's default answers.
class VYX_PLATFORM_EXPORT CAbstractVyxPlugin : public CViewModelPersistent, public IVyxPlugin
{
    Q_OBJECT
    Q_INTERFACES(IVyxPlugin)

public:
    explicit CAbstractVyxPlugin(QObject* parent = nullptr);
    ~CAbstractVyxPlugin() override;

    QWidget* getPluginView() override;
    QString getPluginTitle() override;
    int getSortWeight() override;
    QWidget* getPluginToolsPanel() override;
    QString getPluginCaption() override;
    QVariant getPluginItemData() override;
    int getBadgeCount() override;
    void pluginItemSelected(const QModelIndex& index, const QModelIndex& previous) override;
    void onPluginItemActivated(const QModelIndex& index) override;
    QWidget* getEmptyListItemsWidget() override;
    void refresh() override;
    void initialize() override;
    QString getPluginId() override;
    QString getTooltip() override;
    QString getSettingsKey() override;
    bool isPinned() override;
    bool isVisible() override;
    int getViewItemIndentation() override;
    bool getViewItemRootDecorated() override;
};
