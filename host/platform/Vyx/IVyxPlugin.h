#pragma once

#include <QModelIndex>
#include <QString>
#include <QVariant>
#include <QtPlugin>

class QWidget;

#define IVyxPlugin_iid "com.tarsion.VyxApplication.IVyxPlugin"

// What the Vyx application asks of every plug-in page it lists.
class IVyxPlugin
{
public:
    virtual ~IVyxPlugin() = default;

    virtual QWidget* getPluginView() = 0;
    virtual QString getPluginTitle() = 0;
    virtual int getSortWeight() = 0;
    virtual QWidget* getPluginToolsPanel() = 0;
    virtual QString getPluginCaption() = 0;
    // Data the page offers the host's list item; none by default.
    virtual QVariant getPluginItemData() = 0;
    // A count the host shows as a badge on the page's list item.
    virtual int getBadgeCount() = 0;
    virtual void pluginItemSelected(const QModelIndex& index, const QModelIndex& previous) = 0;
    virtual void onPluginItemActivated(const QModelIndex& index) = 0;
    virtual QWidget* getEmptyListItemsWidget() = 0;
    virtual void refresh() = 0;
    virtual void initialize() = 0;
    virtual QString getPluginId() = 0;
    virtual QString getTooltip() = 0;
    virtual QString getSettingsKey() = 0;
    virtual bool isPinned() = 0;
    virtual bool isVisible() = 0;
    virtual int getViewItemIndentation() = 0;
    virtual bool getViewItemRootDecorated() = 0;
};

Q_DECLARE_INTERFACE(IVyxPlugin, IVyxPlugin_iid)
