// Sign-out and sign-in while a resolution waits for a server that does not
// answer, with the plug-in loaded as the host loads it. The user-interface
// thread must come back at once, whatever the server does, and the page
// must show the latest state only: a late answer to a request of the old
// session never reaches it.
#include <cstdio>
#include <functional>
#include <memory>
#include <ostream>
#include <vector>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QPluginLoader>
#include <QPointer>
#include <QScopeGuard>
#include <QWidget>
#include <gtest/gtest.h>

#include <Vyx/CAbstractVyxPlugin.h>

#include "CycleWatchdog.h"
#include "HostStandIn.h"
#include "PageText.h"
#include "SlowHttpServer.h"
#include "StressConstants.h"

namespace QuorvelStress {
namespace {

const QString kNotSignedIn =
    QStringLiteral("Not signed in \u2014 SdkAdapter not attached. Click refresh after sign-in.");
const QString kResolving = QStringLiteral("Resolving duty channel\u2026");
const QString kResolved = QStringLiteral("Chat resolved.");

// Runs the event loop until `done` or 10 s; false if it never came.
bool spinUntil(const std::function<bool()>& done)
{
    QElapsedTimer clock;
    clock.start();
    while (!done() && clock.elapsed() < 10000)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    return done();
}

struct LifecycleCase
{
    const char* name;
    // The user's switches while the first resolution is held: true signs a
    // user in, false signs out.
    std::vector<bool> switches;
};

void PrintTo(const LifecycleCase& c, std::ostream* out)
{
    *out << c.name;
}

class SessionLifecycle : public ::testing::TestWithParam<LifecycleCase>
{
};

TEST_P(SessionLifecycle, ReturnsAtOnceAndShowsOnlyTheLatestState)
{
    const LifecycleCase& c = GetParam();
    SlowHttpServer server(QByteArray(kTicketReply), kReplyDelayMs);
    ASSERT_NE(server.port(), 0);
    HostStandIn host(server, QStringLiteral("lifecycle"));
    CVyxAccount& account = host.account;
    QPluginLoader loader(QStringLiteral(QUORVEL_PLUGIN_FILE));
    QPointer<QObject> instance = loader.instance();
    ASSERT_NE(instance, nullptr) << loader.errorString().toStdString();
    auto* plugin = qobject_cast<IVyxPlugin*>(instance);
    auto* model = qobject_cast<CViewModelBase*>(instance);
    ASSERT_NE(plugin, nullptr);
    ASSERT_NE(model, nullptr);
    auto page = std::make_unique<QWidget>();
    (new QWidget(page.get()))->setObjectName(QStringLiteral("PART_chatHost"));
    server.hold();
    auto cleanUp = qScopeGuard([&] {
        server.release();
        delete instance.data();
        page.reset();
    });
    plugin->initialize();
    model->setView(page.get());
    model->onViewLoaded();
    account.setSignedIn({QStringLiteral("first"), QStringLiteral("First")}, QByteArrayLiteral("token-1"));
    ASSERT_TRUE(spinUntil([&] { return server.received() == 1; }));

    // Each switch is timed as the user feels it: from the click until the
    // event loop is free again. A server that never answers turns a wait
    // on it into a hang, which the watchdog ends.
    qint64 longestUs = 0;
    int signIns = 1;
    {
        CycleWatchdog watchdog(kCycleLimit, [&server] { server.hangUpAll(); });
        for (const bool signIn : c.switches) {
            QElapsedTimer clock;
            clock.start();
            if (signIn) {
                ++signIns;
                account.setSignedIn({QStringLiteral("user-%1").arg(signIns), QStringLiteral("User")},
                                    QByteArray("token-") + QByteArray::number(signIns));
            } else {
                account.signOut();
            }
            longestUs = std::max(longestUs, clock.nsecsElapsed() / 1000);
            EXPECT_TRUE(showsText(*page, signIn ? kResolving : kNotSignedIn));
        }
        EXPECT_FALSE(watchdog.fired()) << "a switch waited for the server";
    }
    RecordProperty("longest_ui_gap_us", int(longestUs));
    std::printf("%s: longest switch %lld us\n", c.name, static_cast<long long>(longestUs));

    server.release();
    if (c.switches.back()) {
        ASSERT_TRUE(spinUntil([&] { return showsText(*page, kResolved); }));
    } else {
        // The old session's request was aborted; were it not, its answer
        // would arrive `kReplyDelayMs` after the release, well within this.
        QElapsedTimer clock;
        clock.start();
        while (clock.elapsed() < 20 * kReplyDelayMs) {
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
            ASSERT_TRUE(showsText(*page, kNotSignedIn));
            ASSERT_FALSE(showsText(*page, kResolved));
        }
    }
    // Each sign-in asked once; none was asked twice.
    EXPECT_LE(server.received(), signIns);
}

INSTANTIATE_TEST_SUITE_P(
    NeverAnsweringServer, SessionLifecycle,
    ::testing::Values(LifecycleCase{"SignOutMidFlight", {false}}, LifecycleCase{"ReSignInMidFlight", {true}},
                      LifecycleCase{"SignOutThenInAgain", {false, true}},
                      LifecycleCase{"RapidSwitching", {true, false, true, true, false, true, false}}),
    [](const auto& info) { return std::string(info.param.name); });

} // namespace
} // namespace QuorvelStress
