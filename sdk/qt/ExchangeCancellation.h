#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace QuorvelSdk {

class QtHttpNetworkService;

// Cancels everything one chain does over a shared network service: the
// exchanges its senders are waiting for end at once with Qt's "operation
// cancelled", later ones fail before they are sent, and retry waits end
// early. A chain being retired is cancelled so that its threads finish in
// milliseconds, however long the service would have kept them.
class ExchangeCancellation
{
public:
    // `service` is not owned and must outlive every use of this object.
    explicit ExchangeCancellation(QtHttpNetworkService* service);

    // Does not wait for anything. Calling it again does nothing more.
    void cancel();
    // Read by the network thread for every exchange of the chain.
    const std::atomic<bool>& flag() const { return m_cancelled; }
    // A retry wait that ends as soon as the chain is cancelled.
    void sleep(std::uint32_t seconds);

private:
    QtHttpNetworkService* m_service;
    std::atomic<bool> m_cancelled{false};
    std::mutex m_mutex;
    std::condition_variable m_wake;
};

} // namespace QuorvelSdk
