// Tokens from the host's sign-in client, through the provider and the SDK's
// token factory.
#include <atomic>
#include <thread>

#include <QSemaphore>

#include <Ambrel/Client.h>

#include "sdk/qt/AmbrelTokenProvider.h"
#include "sdk/qt/QtTokenFactory.h"
#include "transport_fixture.h"

namespace QuorvelSdk {
namespace {

// Only where a test can see a thread wait (see waitsInside).
#ifdef __linux__
// Two requests meet a 401 with the same token at the same time: the second
// waits for the renewal the first started and takes its token, instead of
// fetching one of its own.
TEST(AmbrelTokenProvider, RequestsMeetingTheSameFailedTokenShareOneRenewal)
{
    Ambrel::Client client;
    client.setAccessToken("old");
    QSemaphore inSource;
    QSemaphore release;
    std::atomic<int> calls{0};
    client.setTokenSource([&]() -> Ambrel::AccessToken {
        const int call = ++calls;
        if (call == 1) {
            inSource.release();
            release.tryAcquire(1, int(QuorvelTest::kWatchdog.count()));
        }
        return QByteArray("new-") + QByteArray::number(call);
    });
    AmbrelTokenProvider provider(&client);
    QtTokenFactory factory(&provider);
    const auto renew = [&factory] {
        const auto token = factory.refresh_token("old");
        return token ? *token : "error: " + token.error().message;
    };

    std::string first;
    std::string second;
    std::atomic<long> secondThread{0};
    std::thread a([&] { first = renew(); });
    const bool firstInSource = inSource.tryAcquire(1, int(QuorvelTest::kWatchdog.count()));
    std::thread b([&] {
        secondThread = QuorvelTest::currentThreadId();
        second = renew();
    });
    // The first renewal holds the client's renewal lock while its source
    // blocks, and the client takes no other lock meanwhile: a wait inside the
    // client is the second renewal waiting for the first, having seen the
    // failed token still current.
    const bool secondWaits = QuorvelTest::waitUntil(
        [&] { return secondThread != 0 && QuorvelTest::waitsInside(secondThread, &client, sizeof client); });
    release.release();
    a.join();
    b.join();

    ASSERT_TRUE(firstInSource);
    ASSERT_TRUE(secondWaits);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(first, "new-1");
    EXPECT_EQ(second, "new-1");
}
#endif

} // namespace
} // namespace QuorvelSdk
