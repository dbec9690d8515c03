// Destroying the network service while senders wait on a server that never
// answers: every sender wakes, nothing outlives the service.
#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include <QCoreApplication>
#include <QNetworkReply>
#include <QPointer>
#include <QSemaphore>

#include "sdk/qt/ExchangeCancellation.h"
#include "transport_fixture.h"

namespace QuorvelTest {
namespace {

constexpr std::int32_t kCancelled = QNetworkReply::OperationCanceledError;

class NetworkShutdown : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_NE(silent.start(), 0); }

    std::string silentUrl() const
    {
        return "http://127.0.0.1:" + std::to_string(silent.serverPort()) + "/never";
    }

    SilentServer silent;
    std::unique_ptr<QuorvelSdk::QtHttpNetworkService> service =
        std::make_unique<QuorvelSdk::QtHttpNetworkService>();
};

TEST_F(NetworkShutdown, WakesEveryWaitingSenderWithCancelled)
{
    QuorvelSdk::QtHttpTransport transport(service.get());
    QPointer<QThread> networkThread = service->networkThread();
    ASSERT_TRUE(networkThread->isRunning());
    EXPECT_EQ(networkThread->objectName(), "QuorvelSdk-Net");

    std::vector<std::int32_t> results(3, -1);
    std::vector<std::thread> senders;
    for (std::size_t i = 0; i < results.size(); ++i) {
        senders.emplace_back([&, i] {
            tarsion::http_response response;
            results[i] = transport.send("GET", silentUrl(), {}, nullptr, false, 0, response);
        });
    }
    const bool allInFlight = waitUntil([&] { return silent.accepted() == 3; });
    EXPECT_TRUE(allInFlight) << "only " << silent.accepted() << " requests reached the server";

    LogCapture log;
    service.reset();
    for (std::thread& t : senders)
        t.join();
    EXPECT_EQ(results, std::vector<std::int32_t>(3, kCancelled));
    EXPECT_TRUE(networkThread.isNull());
    // A cancellation on the way out is not a failure of the network.
    EXPECT_EQ(log.count("QtHttpNetworkService"), 0) << log.messages().join('\n').toStdString();
}

// One chain's cancellation ends that chain's exchanges, its later ones and
// its retry waits, and leaves another chain on the same service alone.
TEST_F(NetworkShutdown, ACancelledChainEndsItsOwnExchangesOnly)
{
    auto cancellation = std::make_shared<QuorvelSdk::ExchangeCancellation>(service.get());
    QuorvelSdk::QtHttpTransport cancelled(service.get());
    cancelled.setCancellation(cancellation);
    QuorvelSdk::QtHttpTransport other(service.get());

    std::int32_t cancelledResult = -1;
    std::int32_t otherResult = -1;
    std::thread first([&] {
        tarsion::http_response response;
        cancelledResult = cancelled.send("GET", silentUrl(), {}, nullptr, false, 0, response);
    });
    std::thread second([&] {
        tarsion::http_response response;
        otherResult = other.send("GET", silentUrl(), {}, nullptr, false, 0, response);
    });
    ASSERT_TRUE(waitUntil([&] { return silent.accepted() == 2; }));
    LogCapture log;
    // A retry wait of half a minute, cut short by the cancellation that
    // comes while it waits (were it to come first, the wait would not start).
    std::thread canceller([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        cancellation->cancel();
    });
    const auto waitStarted = std::chrono::steady_clock::now();
    cancellation->sleep(30);
    canceller.join();
    EXPECT_LT(std::chrono::steady_clock::now() - waitStarted, std::chrono::seconds(20))
        << "the retry wait ran its course";
    first.join();
    EXPECT_EQ(cancelledResult, kCancelled);
    tarsion::http_response response;
    EXPECT_EQ(cancelled.send("GET", silentUrl(), {}, nullptr, false, 0, response), kCancelled);
    EXPECT_EQ(silent.accepted(), 2) << "a cancelled chain reached the network";
    EXPECT_EQ(log.count("QtHttpNetworkService"), 0) << log.messages().join('\n').toStdString();

    // The other chain still waits for its server, until the service goes.
    EXPECT_EQ(otherResult, -1);
    service.reset();
    second.join();
    EXPECT_EQ(otherResult, kCancelled);
}

TEST_F(NetworkShutdown, ExecuteAfterShutdownBeganFailsWithoutTouchingTheNetwork)
{
    // Hold the network thread so that the destructor stays inside its
    // shutdown step while another thread calls in.
    QSemaphore release;
    QObject onNetworkThread;
    onNetworkThread.moveToThread(service->networkThread());
    QMetaObject::invokeMethod(
        &onNetworkThread, [&] { release.acquire(); }, Qt::QueuedConnection);

    QuorvelSdk::QtHttpNetworkService* raw = service.get();
    std::int32_t late = -1;
    bool sawShutdown = false;
    std::thread caller([&] {
        for (int i = 0; i < 10000 && !raw->isShuttingDown(); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        sawShutdown = raw->isShuttingDown();
        if (!sawShutdown) {
            release.release();
            return;
        }
        QuorvelSdk::PendingHttpRequest pending;
        pending.verb = "GET";
        pending.url = QUrl(QString::fromStdString(silentUrl()));
        tarsion::http_response response;
        pending.response = &response;
        late = raw->execute(pending);
        release.release();
    });
    service.reset();
    caller.join();
    ASSERT_TRUE(sawShutdown);
    EXPECT_EQ(late, kCancelled);
    QCoreApplication::processEvents();
    EXPECT_EQ(silent.accepted(), 0);
}

TEST_F(NetworkShutdown, IdleServiceStopsItsThread)
{
    QPointer<QThread> networkThread = service->networkThread();
    service.reset();
    EXPECT_TRUE(networkThread.isNull());
}

} // namespace
} // namespace QuorvelTest
