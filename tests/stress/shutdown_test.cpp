// The plug-in as the host loads it, with resolutions in flight: deleting it
// and switching users must never wait for the server, whatever the server
// does.
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <future>
#include <thread>
#include <vector>

#include <QCoreApplication>
#include <QElapsedTimer>

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

// Sign-out and sign-in while the first resolution waits for a server that
// holds its replies. Each switch is timed as the user feels it, from the
// click until the event loop is free again; the last session's state is
// what the page ends with.
TEST(SessionLifecycle, SwitchingUsersNeverWaitsForTheServer)
{
    const std::vector<bool> cases[] = {{false}, {true}, {true, false, true, true, false, true, false}};
    for (std::size_t c = 0; c < std::size(cases); ++c) {
        SCOPED_TRACE(c);
        HeldServer server(QStringLiteral("stress"));
        server.hold();
        LoadedPlugin host(server.baseUrl(), QStringLiteral("stress"));
        ASSERT_TRUE(host.start()) << host.loader.errorString().toStdString();
        int signIns = 1;
        host.signIn(signIns);
        qint64 longestUs = 0;
        const bool inTime = returnsInTime(
            [&] {
                for (const bool signIn : cases[c]) {
                    QElapsedTimer clock;
                    clock.start();
                    if (signIn)
                        host.signIn(++signIns);
                    else
                        host.account.signOut();
                    longestUs = std::max(longestUs, clock.nsecsElapsed() / 1000);
                    EXPECT_TRUE(host.shows(signIn ? QuorvelTest::kResolving : QuorvelTest::kNotSignedIn));
                }
            },
            [&] { server.release(); });
        EXPECT_TRUE(inTime) << "a switch waited for the server";
        ::testing::Test::RecordProperty("longest_ui_gap_us_" + std::to_string(c), int(longestUs));

        server.release();
        const QString last = cases[c].back() ? QStringLiteral("Chat resolved.") : QuorvelTest::kNotSignedIn;
        QElapsedTimer clock;
        clock.start();
        while (!host.shows(last) && clock.elapsed() < 10000)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        EXPECT_TRUE(host.shows(last));
        EXPECT_LE(server.received(), signIns) << "a session asked twice";
    }
}

} // namespace
} // namespace QuorvelStress
