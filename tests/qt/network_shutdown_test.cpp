// One chain's cancellation against a server that never answers: it ends the
// chain's exchange in flight, its retry wait and its later exchanges, and
// leaves another chain on the same service alone. Waking every sender when
// the whole service goes is the stress suite's business.
#include <atomic>
#include <thread>
#include <vector>

#include <QNetworkReply>
#include <QTcpServer>
#include <QTcpSocket>

#include "sdk/qt/ExchangeCancellation.h"
#include "transport_fixture.h"

namespace QuorvelTest {
namespace {

// Only where a test can see a thread wait (see waitsInside).
#ifdef __linux__
constexpr std::int32_t kCancelled = QNetworkReply::OperationCanceledError;

TEST(ExchangeCancellation, EndsItsOwnChainOnlyAndWakesItsRetryWait)
{
    // Takes connections in and never answers.
    QTcpServer silent;
    ASSERT_TRUE(silent.listen(QHostAddress::LocalHost, 0));
    std::vector<QTcpSocket*> accepted;
    const auto acceptAll = [&] {
        while (silent.hasPendingConnections())
            accepted.push_back(silent.nextPendingConnection());
        return accepted.size();
    };
    const std::string url = "http://127.0.0.1:" + std::to_string(silent.serverPort()) + "/never";
    auto service = std::make_unique<QuorvelSdk::QtHttpNetworkService>();
    auto cancellation = std::make_shared<QuorvelSdk::ExchangeCancellation>(service.get());
    QuorvelSdk::QtHttpTransport cancelled(service.get());
    cancelled.setCancellation(cancellation);
    QuorvelSdk::QtHttpTransport other(service.get());

    const auto sendThrough = [&url](QuorvelSdk::QtHttpTransport& transport) {
        tarsion::http_response response;
        return transport.send("GET", url, {}, nullptr, false, 0, response);
    };
    std::atomic<std::int32_t> cancelledResult{-1};
    std::atomic<std::int32_t> otherResult{-1};
    std::atomic<long> sleeper{0};
    std::atomic<bool> slept{false};
    std::thread first([&] { cancelledResult = sendThrough(cancelled); });
    std::thread second([&] { otherResult = sendThrough(other); });
    // A retry wait of half a minute.
    std::thread waiter([&] {
        sleeper = currentThreadId();
        cancellation->sleep(30);
        slept = true;
    });
    // Both exchanges reached the server and the retry wait has begun, so the
    // cancellation meets each of them under way.
    const bool underWay = waitUntil([&] {
        return acceptAll() == 2 && sleeper != 0
               && waitsInside(sleeper, cancellation.get(), sizeof(QuorvelSdk::ExchangeCancellation));
    });

    LogCapture log;
    cancellation->cancel();
    const bool ended = waitUntil([&] { return cancelledResult != -1 && slept; });
    const std::int32_t later = sendThrough(cancelled);
    const std::size_t reached = acceptAll();
    const std::int32_t otherBeforeShutdown = otherResult;
    // Wakes whatever still waits, the other chain included.
    service.reset();
    first.join();
    second.join();
    waiter.join();

    EXPECT_TRUE(underWay);
    EXPECT_TRUE(ended) << "the exchange or the retry wait outlived the cancellation";
    EXPECT_EQ(cancelledResult, kCancelled);
    EXPECT_EQ(later, kCancelled);
    EXPECT_EQ(reached, 2u) << "a cancelled chain reached the network";
    EXPECT_EQ(otherBeforeShutdown, -1);
    EXPECT_EQ(otherResult, kCancelled);
    // A cancellation is not a failure of the network.
    EXPECT_EQ(log.count("QtHttpNetworkService"), 0) << log.messages().join('\n').toStdString();
}
#endif

} // namespace
} // namespace QuorvelTest
