#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QThread>
#include <QTimer>

#include <gtest/gtest.h>

namespace QuorvelTest {

// How long any single blocking exchange in a test may take before the test
// fails instead of hanging.
inline constexpr std::chrono::milliseconds kWatchdog{10000};

// Spins this thread's events until `done` holds or the watchdog fires.
inline bool waitUntil(const std::function<bool()>& done)
{
    QElapsedTimer clock;
    clock.start();
    while (!done()) {
        if (clock.elapsed() > kWatchdog.count())
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    }
    return true;
}

// Runs `work` on a thread of its own while this thread keeps serving its
// events (a loopback server may live here). If the watchdog fires, the test
// fails, `unblock` is called to free the worker (for example by destroying
// the network service it waits on), and the thread is joined before return.
template <class R>
std::optional<R> runOffThread(std::function<R()> work, const std::function<void()>& unblock,
                              std::chrono::milliseconds limit = kWatchdog)
{
    std::optional<R> result;
    std::unique_ptr<QThread> thread(QThread::create([&] { result = work(); }));
    QEventLoop loop;
    QObject::connect(thread.get(), &QThread::finished, &loop, &QEventLoop::quit);
    QTimer::singleShot(limit, &loop, &QEventLoop::quit);
    thread->start();
    loop.exec();
    if (!thread->isFinished()) {
        ADD_FAILURE() << "watchdog: work did not finish within " << limit.count() << " ms";
        if (unblock)
            unblock();
        thread->wait();
        return std::nullopt;
    }
    thread->wait();
    return result;
}

} // namespace QuorvelTest
