#include "chat/ChatService.h"

#include "chat/MetaTypes.h"
#include "sdk/qt/QtHttpNetworkService.h"

namespace QuorvelChat {

ChatService::ChatService(QObject* parent)
    : QuorvelSdk::QuorvelServiceBase(parent)
    , m_networkService(std::make_unique<QuorvelSdk::QtHttpNetworkService>())
{
    registerMetaTypes();
    m_retired.setObjectName(QStringLiteral("QuorvelChat-Retire"));
    m_retired.setMaxThreadCount(1);
}

ChatService::~ChatService()
{
    // The adapter goes first and waits for its tasks, which may be blocked on
    // exchanges a server never answers: abort those first, so that the
    // waiting ends. Later tasks fail at once with "cancelled".
    m_networkService->shutdown();
    m_adapter.reset();
    // Detached adapters use the network service too, and this library's
    // code: both must outlast them.
    m_retired.waitForDone();
    m_networkService.reset();
}

QuorvelSdk::QtHttpNetworkService* ChatService::networkService() const
{
    return m_networkService.get();
}

SdkAdapter* ChatService::adapter() const
{
    return m_adapter.get();
}

void ChatService::setAdapter(std::unique_ptr<SdkAdapter> adapter)
{
    detachAdapter();
    m_adapter = std::move(adapter);
    if (m_adapter)
        Q_EMIT adapterChanged();
}

void ChatService::detachAdapter()
{
    if (!m_adapter)
        return;
    // Cleared before the adapter goes, so that anyone asking during the
    // announcement already sees no adapter.
    SdkAdapter* old = m_adapter.release();
    old->cancel();
    // Its destructor waits for its tasks: not here. With no thread it
    // takes no events, and may be deleted on any.
    old->moveToThread(nullptr);
    m_retired.start([old] { delete old; });
    Q_EMIT adapterChanged();
}

QString ChatService::statusText() const
{
    return m_adapter ? QStringLiteral("ChatService: SDK chain attached, network thread running.")
                     : QStringLiteral("ChatService: no identity, network thread running.");
}

void ChatService::releaseAll()
{
    detachAdapter();
    QuorvelSdk::QuorvelServiceBase::releaseAll();
}

} // namespace QuorvelChat
