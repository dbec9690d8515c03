#include "Vyx/CAbstractVyxPlugin.h"
#include "Vyx/CViewModelBase.h"

CViewModelBase::CViewModelBase(QObject* parent) : QObject(parent) {}
CViewModelBase::~CViewModelBase() = default;

QWidget* CViewModelBase::getView() const
{
    return m_view;
}
void CViewModelBase::setView(QWidget* view)
{
    m_view = view;
}
QString CViewModelBase::getViewFileName() const
{
    return {};
}
void CViewModelBase::onViewLoaded() {}
bool CViewModelBase::canRefresh() const
{
    return false;
}
bool CViewModelBase::canClose() const
{
    return true;
}
void CViewModelBase::onViewActivated() {}

CViewModelWithCaption::CViewModelWithCaption(QObject* parent) : CViewModelBase(parent) {}
QString CViewModelWithCaption::getCaption() const
{
    return objectName();
}
QIcon CViewModelWithCaption::getIcon() const
{
    return {};
}

CViewModelPersistent::CViewModelPersistent(QObject* parent) : CViewModelWithCaption(parent) {}
QVariantMap CViewModelPersistent::persistentState() const
{
    return m_state;
}
void CViewModelPersistent::setPersistentState(const QVariantMap& state)
{
    m_state = state;
}

CAbstractVyxPlugin::CAbstractVyxPlugin(QObject* parent) : CViewModelPersistent(parent) {}
CAbstractVyxPlugin::~CAbstractVyxPlugin() = default;

QWidget* CAbstractVyxPlugin::getPluginView()
{
    return getView();
}
QString CAbstractVyxPlugin::getPluginTitle()
{
    return getPluginCaption();
}
int CAbstractVyxPlugin::getSortWeight()
{
    return 0;
}
QWidget* CAbstractVyxPlugin::getPluginToolsPanel()
{
    return nullptr;
}
QString CAbstractVyxPlugin::getPluginCaption()
{
    return getCaption();
}
QVariant CAbstractVyxPlugin::getPluginItemData()
{
    return {};
}
int CAbstractVyxPlugin::getBadgeCount()
{
    return 0;
}
void CAbstractVyxPlugin::pluginItemSelected(const QModelIndex&, const QModelIndex&) {}
void CAbstractVyxPlugin::onPluginItemActivated(const QModelIndex&) {}
QWidget* CAbstractVyxPlugin::getEmptyListItemsWidget()
{
    return nullptr;
}
void CAbstractVyxPlugin::refresh() {}
void CAbstractVyxPlugin::initialize() {}
QString CAbstractVyxPlugin::getPluginId()
{
    return objectName();
}
QString CAbstractVyxPlugin::getTooltip()
{
    return getPluginCaption();
}
QString CAbstractVyxPlugin::getSettingsKey()
{
    return getPluginId();
}
bool CAbstractVyxPlugin::isPinned()
{
    return false;
}
bool CAbstractVyxPlugin::isVisible()
{
    return true;
}
int CAbstractVyxPlugin::getViewItemIndentation()
{
    return 0;
}
bool CAbstractVyxPlugin::getViewItemRootDecorated()
{
    return false;
}
