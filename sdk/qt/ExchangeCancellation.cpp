#include "sdk/qt/ExchangeCancellation.h"

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "sdk/qt/QtHttpNetworkService.h"

namespace QuorvelSdk {
namespace {

// One wake-up for every retry wait: a cancellation wakes the waits of its
// children too, and cancellations are rare enough that waking all of them
// to look again costs nothing.
std::mutex& wakeLock()
{
    static std::mutex lock;
    return lock;
}

std::condition_variable& wake()
{
    static std::condition_variable condition;
    return condition;
}

thread_local const ExchangeCancellation* t_current = nullptr;

} // namespace

ExchangeCancellation::ExchangeCancellation(QtHttpNetworkService* service,
                                           std::shared_ptr<const ExchangeCancellation> parent)
    : m_service(service)
    , m_parent(std::move(parent))
{
}

std::shared_ptr<ExchangeCancellation> ExchangeCancellation::child() const
{
    return std::make_shared<ExchangeCancellation>(m_service, shared_from_this());
}

void ExchangeCancellation::cancel()
{
    {
        std::lock_guard lock(wakeLock());
        if (m_cancelled.exchange(true))
            return;
    }
    wake().notify_all();
    // After the flag: an exchange posted from now on sees it, and one posted
    // before is already known to the network thread when the abort arrives.
    m_service->abortCancelled();
}

bool ExchangeCancellation::isCancelled() const
{
    for (const ExchangeCancellation* c = this; c != nullptr; c = c->m_parent.get()) {
        if (c->m_cancelled.load())
            return true;
    }
    return false;
}

void ExchangeCancellation::sleep(std::uint32_t seconds) const
{
    std::unique_lock lock(wakeLock());
    wake().wait_for(lock, std::chrono::seconds(seconds), [this] { return isCancelled(); });
}

ExchangeCancellation::Scope::Scope(const ExchangeCancellation* cancellation) : m_previous(t_current)
{
    if (cancellation != nullptr)
        t_current = cancellation;
}

ExchangeCancellation::Scope::~Scope()
{
    t_current = m_previous;
}

const ExchangeCancellation* ExchangeCancellation::current(const ExchangeCancellation* fallback)
{
    return t_current != nullptr ? t_current : fallback;
}

} // namespace QuorvelSdk
