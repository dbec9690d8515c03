#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>

namespace QuorvelSdk {

class QtHttpNetworkService;

// Cancels a group of exchanges over a shared network service: those its
// senders are waiting for end at once with TransportError::Cancelled, later
// ones fail before they are sent, and retry waits end early. A chain being
// retired is cancelled so that its threads finish in milliseconds, however
// long the service would have kept them; so is one resolution when a newer
// one supersedes it.
//
// A cancellation may have a parent (a resolution's, the chain's): it counts
// as cancelled as soon as the parent is.
class ExchangeCancellation : public std::enable_shared_from_this<ExchangeCancellation>
{
public:
    // `service` is not owned and must outlive every use of this object.
    explicit ExchangeCancellation(QtHttpNetworkService* service,
                                  std::shared_ptr<const ExchangeCancellation> parent = {});

    // A new cancellation whose parent is this one.
    std::shared_ptr<ExchangeCancellation> child() const;

    // Does not wait for anything. Calling it again does nothing more.
    void cancel();
    // Read by the network thread for every exchange in flight.
    bool isCancelled() const;
    // A retry wait that ends as soon as this, or a parent, is cancelled.
    void sleep(std::uint32_t seconds) const;

    // While a scope lives, the exchanges its thread sends and its retry
    // waits belong to `cancellation` (or, for null, to whatever they would
    // belong to without the scope).
    class Scope
    {
    public:
        explicit Scope(const ExchangeCancellation* cancellation);
        ~Scope();
        Scope(const Scope&) = delete;
        Scope& operator=(const Scope&) = delete;

    private:
        const ExchangeCancellation* m_previous;
    };
    // The cancellation of the innermost scope on this thread, else `fallback`.
    static const ExchangeCancellation* current(const ExchangeCancellation* fallback);

private:
    // The topmost parent, on whose condition every wait of the family sleeps.
    const ExchangeCancellation& root() const;

    QtHttpNetworkService* m_service;
    std::shared_ptr<const ExchangeCancellation> m_parent;
    std::atomic<bool> m_cancelled{false};
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_wake;
};

} // namespace QuorvelSdk
