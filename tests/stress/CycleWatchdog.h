#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <mutex>
#include <thread>

namespace QuorvelStress {

// Guards one step that blocks the test's own thread (a destructor waiting
// for threads), where no event loop can time it out. If the step overruns
// `limit`, `unblock` is called from the watchdog's thread to free whatever
// it waits for, and fired() tells the test to fail. If even that does not
// free it within another `limit`, the process is aborted: a crash report
// names the hang, a hung test names nothing.
class CycleWatchdog
{
public:
    CycleWatchdog(std::chrono::milliseconds limit, std::function<void()> unblock)
        : m_thread([this, limit, unblock = std::move(unblock)] { watch(limit, unblock); })
    {
    }

    ~CycleWatchdog()
    {
        {
            std::lock_guard lock(m_mutex);
            m_done = true;
        }
        m_wake.notify_all();
        m_thread.join();
    }

    CycleWatchdog(const CycleWatchdog&) = delete;
    CycleWatchdog& operator=(const CycleWatchdog&) = delete;

    bool fired() const
    {
        std::lock_guard lock(m_mutex);
        return m_fired;
    }

private:
    void watch(std::chrono::milliseconds limit, const std::function<void()>& unblock)
    {
        std::unique_lock lock(m_mutex);
        if (m_wake.wait_for(lock, limit, [this] { return m_done; }))
            return;
        m_fired = true;
        lock.unlock();
        std::fprintf(stderr, "watchdog: step still blocked after %lld ms; unblocking it\n",
                     static_cast<long long>(limit.count()));
        if (unblock)
            unblock();
        lock.lock();
        if (m_wake.wait_for(lock, limit, [this] { return m_done; }))
            return;
        std::fprintf(stderr, "watchdog: step still blocked after unblocking; aborting\n");
        std::abort();
    }

    mutable std::mutex m_mutex;
    std::condition_variable m_wake;
    bool m_done = false;
    bool m_fired = false;
    // Last: it starts watching as soon as the members it uses exist.
    std::thread m_thread;
};

} // namespace QuorvelStress
