// ChatService's adapter changes, and the back-end adapter's own pool.
#include <atomic>
#include <memory>
#include <vector>

#include <QSemaphore>
#include <QThread>
#include <QThreadPool>

#include "chat/ChatService.h"
#include "chat/QuorvelBackendAdapter.h"
#include "chat_test_support.h"
#include "support/qt/OffThread.h"

namespace QuorvelChatTest {
namespace {

using namespace QuorvelChat;

// The old chain is cancelled before anyone hears that it is gone; the
// removal is announced with no adapter to be seen, then the new one, already
// in place; the old one is destroyed on another thread, so that its waiting
// tasks never hold up the caller.
TEST(ChatServiceTest, ReplacingCancelsTheOldChainThenAnnouncesRemovalAndTheNewOne)
{
    std::vector<SdkAdapter*> seenInAnnouncements;
    std::vector<std::pair<std::string, std::size_t>> cancelled;
    QSemaphore gone;
    std::atomic<QThread*> goneOn{nullptr};
    ChatService service;
    QObject::connect(&service, &ChatService::adapterChanged, &service,
                     [&] { seenInAnnouncements.push_back(service.adapter()); });
    const auto traced = [&](const char* name) {
        auto adapter = std::make_unique<SdkAdapter>(nullptr);
        adapter->setCanceller([&, name] { cancelled.emplace_back(name, seenInAnnouncements.size()); });
        QObject::connect(adapter.get(), &QObject::destroyed, [&] {
            goneOn = QThread::currentThread();
            gone.release();
        });
        return adapter;
    };

    auto first = traced("first");
    SdkAdapter* firstRaw = first.get();
    service.setAdapter(std::move(first));
    auto second = traced("second");
    SdkAdapter* secondRaw = second.get();
    service.setAdapter(std::move(second));

    EXPECT_EQ(seenInAnnouncements, (std::vector<SdkAdapter*>{firstRaw, nullptr, secondRaw}));
    EXPECT_EQ(cancelled, (std::vector<std::pair<std::string, std::size_t>>{{"first", 1}}));
    EXPECT_EQ(service.adapter(), secondRaw);
    ASSERT_TRUE(gone.tryAcquire(1, int(QuorvelTest::kWatchdog.count())));
    EXPECT_NE(goneOn.load(), QThread::currentThread());
}

TEST(BackendAdapter, EachAdapterHasItsOwnSizedPoolThatNeverRetiresThreads)
{
    for (const int threads : {1, 7}) {
        const QuorvelBackendAdapter adapter({}, 0, nullptr, threads);
        QThreadPool* pool = adapter.threadPool();
        ASSERT_NE(pool, nullptr);
        EXPECT_NE(pool, QThreadPool::globalInstance());
        EXPECT_EQ(pool->maxThreadCount(), threads);
        EXPECT_EQ(pool->expiryTimeout(), -1);
    }
}

} // namespace
} // namespace QuorvelChatTest
