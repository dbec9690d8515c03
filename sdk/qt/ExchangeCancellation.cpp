#include "sdk/qt/ExchangeCancellation.h"

#include <chrono>

#include "sdk/qt/QtHttpNetworkService.h"

namespace QuorvelSdk {

ExchangeCancellation::ExchangeCancellation(QtHttpNetworkService* service) : m_service(service) {}

void ExchangeCancellation::cancel()
{
    {
        std::lock_guard lock(m_mutex);
        if (m_cancelled.exchange(true))
            return;
    }
    m_wake.notify_all();
    // After the flag: an exchange posted from now on sees it, and one posted
    // before is already known to the network thread when the abort arrives.
    m_service->abortCancelled();
}

void ExchangeCancellation::sleep(std::uint32_t seconds)
{
    std::unique_lock lock(m_mutex);
    m_wake.wait_for(lock, std::chrono::seconds(seconds), [this] { return m_cancelled.load(); });
}

} // namespace QuorvelSdk
