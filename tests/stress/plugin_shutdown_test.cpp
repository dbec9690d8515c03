// Shutdown under load as the host meets it: the plug-in is loaded from its
// built library, signed in, its page refreshed eight times against a server
// that answers slowly, and deleted while all of those resolutions are under
// way, over and over.
#include <memory>

#include <QCoreApplication>
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

TEST(ShutdownUnderLoad, DeletingThePluginMidFlightFinishesEveryResolution)
{
    SlowHttpServer server(QByteArray(kTicketReply), kReplyDelayMs);
    ASSERT_NE(server.port(), 0);
    HostStandIn host(server, QStringLiteral("stress"));
    CVyxAccount& account = host.account;
    // Kept loaded for the whole run: a deleted instance is replaced by a
    // fresh one on the next instance().
    QPluginLoader loader(QStringLiteral(QUORVEL_PLUGIN_FILE));

    for (int cycle = 0; cycle < kCycles && !::testing::Test::HasFailure(); ++cycle) {
        server.hold();
        QPointer<QObject> instance = loader.instance();
        ASSERT_NE(instance, nullptr) << loader.errorString().toStdString();
        auto* plugin = qobject_cast<IVyxPlugin*>(instance);
        auto* model = qobject_cast<CViewModelBase*>(instance);
        ASSERT_NE(plugin, nullptr);
        ASSERT_NE(model, nullptr);
        auto page = std::make_unique<QWidget>();
        (new QWidget(page.get()))->setObjectName(QStringLiteral("PART_chatHost"));
        // On every way out, before the plug-in (and its page) go: a held
        // server would keep the plug-in's destruction waiting for good.
        auto cleanUp = qScopeGuard([&] {
            server.release();
            delete instance.data();
            page.reset();
            account.signOut();
        });

        plugin->initialize();
        model->setView(page.get());
        model->onViewLoaded();
        // The sign-in attaches a chain, whose announcement refreshes the view:
        // the first resolution. The host's refreshes make the other seven.
        account.setSignedIn({QStringLiteral("stress-user"), QStringLiteral("Stress")},
                            QByteArrayLiteral("stress-token"));
        for (int i = 1; i < kResolutionsPerCycle; ++i)
            plugin->refresh();
        EXPECT_TRUE(showsText(*page, QStringLiteral("Resolving duty channel\u2026"))) << "cycle " << cycle;

        {
            CycleWatchdog watchdog(kCycleLimit, [&server] { server.hangUpAll(); });
            server.release();
            // Both orders the host may use: the plug-in before its page, and
            // the page (with the view) before the plug-in.
            if (cycle % 2 == 0) {
                delete instance.data();
                page.reset();
            } else {
                page.reset();
                delete instance.data();
            }
            EXPECT_FALSE(watchdog.fired()) << "cycle " << cycle << ": deleting the plug-in hung";
        }
        // Deleting the plug-in aborts what is in flight, so how many requests
        // got through varies; none may have been sent twice.
        EXPECT_LE(server.received(), (cycle + 1) * kResolutionsPerCycle) << "cycle " << cycle;
        EXPECT_LE(server.answered(), server.received()) << "cycle " << cycle;
        // What the host's event loop would do between two cycles, so that
        // nothing posted for later piles up over the run.
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QCoreApplication::processEvents();
    }
}

} // namespace
} // namespace QuorvelStress
