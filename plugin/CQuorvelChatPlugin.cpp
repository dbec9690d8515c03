#include "CQuorvelChatPlugin.h"

#include <stdexcept>

#include <QVBoxLayout>

#include <Vyx/CTarsionApp.h>
#include <Vyx/CVyxAccount.h>
#include <qtHelpers/Images.h>

#include "chat/ChatService.h"
#include "chat/SdkChain.h"
#include "sdk/qt/AmbrelTokenProvider.h"
#include "sdk/qt/QtHttpNetworkService.h"
#include "view/DebugInfoWidget.h"
#include "view/EntityDump.h"

namespace {

const char* const kChatHostName = "PART_chatHost";

// A host may tune the network limits through dynamic properties of its
// application object; what it leaves unset keeps the defaults.
QuorvelSdk::HttpLimits networkLimits(const QObject* app)
{
    QuorvelSdk::HttpLimits limits;
    if (app == nullptr)
        return limits;
    for (const auto& [name, member] : QuorvelSdk::HttpLimits::kByName) {
        bool ok = false;
        const qint64 value = app->property(name).toLongLong(&ok);
        if (ok && value > 0)
            limits.*member = value;
    }
    return limits;
}

} // namespace

CQuorvelChatPlugin::CQuorvelChatPlugin(QObject* parent) : CAbstractVyxPlugin(parent)
{
    setObjectName(QStringLiteral("CQuorvelChatPlugin"));
}

CQuorvelChatPlugin::~CQuorvelChatPlugin()
{
    // The view itself belongs to the host's widgets; the chain and its
    // network thread go before the token provider they use.
    chatView.clear();
    chatService.reset();
    tokenProvider.reset();
}

QString CQuorvelChatPlugin::getViewFileName() const
{
    return QLatin1String("quorvelChat.mainScreen.ui");
}

void CQuorvelChatPlugin::onViewLoaded()
{
    QWidget* view = getView();
    if (view == nullptr)
        fail(tr("No view loaded for model %1").arg(QLatin1String(metaObject()->className())));
    auto* host = view->findChild<QWidget*>(QLatin1String(kChatHostName), Qt::FindChildrenRecursively);
    if (host == nullptr)
        fail(tr("%1. No control found: %2")
                 .arg(QLatin1String(view->metaObject()->className()), QLatin1String(kChatHostName)));
    if (host->layout() == nullptr) {
        auto* layout = new QVBoxLayout(host);
        layout->setContentsMargins(0, 0, 0, 0);
    }
    chatView = new QuorvelChat::DebugInfoWidget(chatService.get(), host);
    host->layout()->addWidget(chatView);
    // The chain may have been attached before there was a view to hear of
    // it (a user already signed in at start): the page shows where things
    // stand at once, instead of waiting for somebody to ask for a refresh.
    chatView->refresh();
}

QString CQuorvelChatPlugin::getCaption() const
{
    return tr("Chat");
}

QIcon CQuorvelChatPlugin::getIcon() const
{
    return qtHelpers::images::icon(QStringLiteral("ico-plugin-no-news"));
}

bool CQuorvelChatPlugin::canRefresh() const
{
    return true;
}

bool CQuorvelChatPlugin::canClose() const
{
    return false;
}

void CQuorvelChatPlugin::onViewActivated() {}

QString CQuorvelChatPlugin::getPluginCaption()
{
    return getCaption();
}

QVariant CQuorvelChatPlugin::getPluginItemData()
{
    return {};
}

int CQuorvelChatPlugin::getBadgeCount()
{
    return 0;
}

void CQuorvelChatPlugin::pluginItemSelected(const QModelIndex&, const QModelIndex&) {}

void CQuorvelChatPlugin::refresh()
{
    if (chatView)
        chatView->refresh();
}

void CQuorvelChatPlugin::initialize()
{
    chatService = std::make_unique<QuorvelChat::ChatService>(this);
    CTarsionApp* app = tarsionApp;
    chatService->networkService()->setLimits(networkLimits(app));
    CVyxAccount* account = app ? app->getAccount() : nullptr;
    if (account == nullptr)
        return;
    if (const QPointer<Ambrel::Client> client = account->getAmbrelClient())
        tokenProvider = std::make_unique<QuorvelSdk::AmbrelTokenProvider>(client);
    connect(account, &CVyxAccount::signedInUserChanged, this, &CQuorvelChatPlugin::onSignedInUserChanged);
    if (account->getIsSignedIn())
        attachSdkChain();
}

QString CQuorvelChatPlugin::getPluginId()
{
    return QStringLiteral("quorvelChat");
}

QString CQuorvelChatPlugin::getSettingsKey()
{
    return QStringLiteral("quorvelChat");
}

bool CQuorvelChatPlugin::isPinned()
{
    return false;
}

void CQuorvelChatPlugin::onPluginItemSelected(QModelIndex index, QModelIndex prev)
{
    pluginItemSelected(index, prev);
}

void CQuorvelChatPlugin::onSignedInUserChanged(Ambrel::SignIn::UserInfo info)
{
    if (!info.userId.isEmpty())
        attachSdkChain();
    else if (chatService)
        chatService->detachAdapter();
}

void CQuorvelChatPlugin::attachSdkChain()
{
    if (!chatService || !tokenProvider)
        return;
    CTarsionApp* app = tarsionApp;
    CVyxAccount* account = app ? app->getAccount() : nullptr;
    if (account == nullptr || account->getAmbrelClient().isNull())
        return;

    QuorvelChat::SdkChainSettings settings;
    settings.networkService = chatService->networkService();
    settings.tokenProvider = tokenProvider.get();
    settings.baseUrl = app->getBaseUrl(QString());
    settings.businessId = app->getVyxBusinessId();
    settings.principalKind = 0;
    settings.adapterThreads = 4;
    settings.dumpEntity = &QuorvelChat::dumpEntity;
    if (std::unique_ptr<QuorvelChat::SdkAdapter> adapter = QuorvelChat::buildSdkChain(settings))
        chatService->setAdapter(std::move(adapter));
}

void CQuorvelChatPlugin::fail(const QString& message) const
{
    qCritical().noquote() << message;
    throw std::runtime_error(message.toStdString());
}
