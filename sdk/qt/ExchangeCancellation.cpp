#include "sdk/qt/ExchangeCancellation.h"

#include <chrono>

#include "sdk/qt/QtHttpNetworkService.h"

namespace QuorvelSdk {
namespace {

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

const ExchangeCancellation& ExchangeCancellation::root() const
{
    const ExchangeCancellation* top = this;
    while (top->m_parent)
        top = top->m_parent.get();
    return *top;
}

void ExchangeCancellation::cancel()
{
    // Every wait of the family sleeps on the root: a cancellation wakes its
    // children's waits too, which look again and go on sleeping if theirs is
    // not among the cancelled.
    const ExchangeCancellation& top = root();
    {
        std::lock_guard lock(top.m_mutex);
        if (m_cancelled.exchange(true))
            return;
    }
    top.m_wake.notify_all();
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
    const ExchangeCancellation& top = root();
    std::unique_lock lock(top.m_mutex);
    top.m_wake.wait_for(lock, std::chrono::seconds(seconds), [this] { return isCancelled(); });
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
