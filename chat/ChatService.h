#pragma once

#include <memory>

#include <QThreadPool>

#include "chat/SdkAdapter.h"
#include "sdk/qt/QuorvelServiceBase.h"

namespace QuorvelSdk {
class QtHttpNetworkService;
}

namespace QuorvelChat {

// Owns the SDK's network thread for its whole life and, while a user is
// signed in, the back end assembled for that user. Lives on the
// user-interface thread.
class ChatService : public QuorvelSdk::QuorvelServiceBase
{
    Q_OBJECT

public:
    explicit ChatService(QObject* parent = nullptr);
    ~ChatService() override;

    QuorvelSdk::QtHttpNetworkService* networkService() const;
    // The current back end, or null. Ask again after every adapterChanged().
    SdkAdapter* adapter() const;

    // Detaches the current adapter (announcing it), then takes the new one and
    // announces it unless it is null.
    void setAdapter(std::unique_ptr<SdkAdapter> adapter);
    // Drops the adapter and announces it at once; does nothing without one.
    // The adapter's operations are cancelled and it is destroyed on a thread
    // of the service's own, so that the user-interface thread never waits
    // for a server; what it still delivers goes to nobody.
    void detachAdapter();

    QString statusText() const;

    void releaseAll() override;

Q_SIGNALS:
    void adapterChanged();

private:
    std::unique_ptr<QuorvelSdk::QtHttpNetworkService> m_networkService;
    // Where detached adapters wait for their tasks and die.
    QThreadPool m_retired;
    // Declared last: it goes first, since its tasks send through the network
    // service.
    std::unique_ptr<SdkAdapter> m_adapter;
};

} // namespace QuorvelChat
