// The plug-in as the host loads it, with resolutions in flight: deleting it
// must never wait for the server, whatever the server does. (A user switch
// hands the old chain to another thread to end; the chat suite shows that.)
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <future>
#include <thread>

#include <QCoreApplication>

#include <gtest/gtest.h>

#include "HeldServer.h"
#include "plugin/LoadedPlugin.h"

namespace QuorvelStress {
namespace {

using QuorvelTest::LoadedPlugin;

// Runs `step`, which blocks this thread (a destructor waiting for threads,
// where no event loop can time it out). Past 20 s, far beyond what a step
// takes even under a sanitizer, `unblock` is called from another thread and
// the answer is false; should even that not free the step, the process
// aborts: a crash report names the hang.
constexpr std::chrono::seconds kLimit{20};

bool returnsInTime(const std::function<void()>& step, const std::function<void()>& unblock)
{
    std::promise<void> done;
    std::atomic<bool> fired{false};
    std::thread watcher([&unblock, &fired, finished = done.get_future()] {
        if (finished.wait_for(kLimit) == std::future_status::ready)
            return;
        fired = true;
        unblock();
        if (finished.wait_for(kLimit) != std::future_status::ready)
            std::abort();
    });
    step();
    done.set_value();
    watcher.join();
    return !fired;
}

// Eight resolutions per cycle on the back end's four threads. Every other
// cycle the server answers while the plug-in goes; in the others it never
// does, so only aborting the exchanges before the back end's pool is
// drained lets the deletion end. Both orders the host may use are taken:
// the plug-in before its page, and the page first.
TEST(ShutdownUnderLoad, DeletingThePluginMidFlightNeverWaitsForTheServer)
{
    constexpr int kCycles = 200;
    constexpr int kResolutionsPerCycle = 8;
    HeldServer server(QStringLiteral("stress"));
    for (int cycle = 0; cycle < kCycles && !::testing::Test::HasFailure(); ++cycle) {
        SCOPED_TRACE(cycle);
        server.hold();
        LoadedPlugin host(server.baseUrl(), QStringLiteral("stress"));
        ASSERT_TRUE(host.start()) << host.loader.errorString().toStdString();
        // The sign-in's announcement refreshes the page: the first resolution.
        host.signIn(cycle);
        for (int i = 1; i < kResolutionsPerCycle; ++i)
            host.plugin->refresh();
        EXPECT_TRUE(host.shows(QuorvelTest::kResolving));

        if (cycle % 2 == 0)
            server.release();
        const bool inTime = returnsInTime(
            [&] {
                if (cycle % 4 < 2)
                    delete host.instance.data();
                host.page.reset();
                delete host.instance.data();
            },
            [&] { server.release(); });
        EXPECT_TRUE(inTime) << "deleting the plug-in waited for the server";
        server.release();
        // What the host's event loop would do between two cycles.
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QCoreApplication::processEvents();
    }
    EXPECT_LE(server.received(), kCycles * kResolutionsPerCycle) << "a resolution asked twice";
}

} // namespace
} // namespace QuorvelStress
