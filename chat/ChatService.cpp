#include "chat/ChatService.h"

#include "chat/MetaTypes.h"
#include "sdk/qt/QtHttpNetworkService.h"

namespace QuorvelChat {

ChatService::ChatService(QObject* parent)
    : QuorvelSdk::QuorvelServiceBase(parent)
    , m_networkService(std::make_unique<QuorvelSdk::QtHttpNetworkService>())
{
    registerMetaTypes();
}

ChatService::~ChatService()
{
    // The adapter goes first and waits for its tasks, which may be blocked on
    // exchanges a server never answers: abort those first, so that the
    // waiting ends. Later tasks fail at once with "cancelled".
    m_networkService->shutdown();
    m_adapter.reset();
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
    // Cleared before the adapter dies, so that anyone asking during its
    // teardown or the announcement already sees no adapter.
    std::unique_ptr<SdkAdapter> old = std::move(m_adapter);
    old.reset();
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
