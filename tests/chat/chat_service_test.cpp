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
#include "support/qt/LogCapture.h"
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
    std::atomic<QThread*> affinityAtDeath{nullptr};
    ChatService service;
    QObject::connect(&service, &ChatService::adapterChanged, &service,
                     [&] { seenInAnnouncements.push_back(service.adapter()); });
    const auto traced = [&](const char* name) {
        auto adapter = std::make_unique<SdkAdapter>(nullptr);
        adapter->setCanceller([&, name] { cancelled.emplace_back(name, seenInAnnouncements.size()); });
        QObject::connect(adapter.get(), &QObject::destroyed, [&](QObject* dying) {
            goneOn = QThread::currentThread();
            affinityAtDeath = dying->thread();
            gone.release();
        });
        return adapter;
    };

    EXPECT_EQ(service.statusText(), "ChatService: no identity, network thread running.");
    auto first = traced("first");
    SdkAdapter* firstRaw = first.get();
    service.setAdapter(std::move(first));
    auto second = traced("second");
    SdkAdapter* secondRaw = second.get();
    service.setAdapter(std::move(second));

    EXPECT_EQ(seenInAnnouncements, (std::vector<SdkAdapter*>{firstRaw, nullptr, secondRaw}));
    EXPECT_EQ(cancelled, (std::vector<std::pair<std::string, std::size_t>>{{"first", 1}}));
    EXPECT_EQ(service.adapter(), secondRaw);
    EXPECT_EQ(service.statusText(), "ChatService: SDK chain attached, network thread running.");
    ASSERT_TRUE(gone.tryAcquire(1, int(QuorvelTest::kWatchdog.count())));
    EXPECT_NE(goneOn.load(), QThread::currentThread());
    // With no thread of its own it takes no events on its way out.
    EXPECT_EQ(affinityAtDeath.load(), nullptr);
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
        EXPECT_EQ(pool->objectName(), "QuorvelChat-Adapter");
    }
}

// Every operation through the adapter, as the view would call it: the
// unbuilt ones each answer with their own name on the adapter's pool, and
// resolving without a resolver is a validation failure.
TEST(BackendAdapter, UnbuiltOperationsAnswerNotImplementedWithTheirName)
{
    SdkAdapter adapter(std::make_unique<QuorvelBackendAdapter>(nullptr, 0, nullptr, 2));
    const auto errorOf = [](auto future) {
        future.waitForFinished();
        return future.result().error();
    };
    const QList<Error> errors{errorOf(adapter.listMessages({})),     errorOf(adapter.postMessage({})),
                              errorOf(adapter.patchMessage({})),     errorOf(adapter.deleteMessage({})),
                              errorOf(adapter.uploadAttachment({})), errorOf(adapter.downloadAttachment({})),
                              errorOf(adapter.saveDraft({})),        errorOf(adapter.resolveChat())};
    QList<Error> expected;
    for (const char* name : {"listMessages", "postMessage", "patchMessage", "deleteMessage",
                             "uploadAttachment", "downloadAttachment", "saveDraft"})
        expected << Error{ErrorKind::NotImplemented, QStringLiteral("Not implemented: ") + name, -1};
    expected << Error{ErrorKind::Validation,
                      QStringLiteral("QuorvelBackendAdapter::resolveChat \u2014 no IChatResolver installed"),
                      -1};
    EXPECT_EQ(errors, expected);
}

// Memory running out while a huge reply is read is no reason to end the
// host: the resolution fails, and says why.
TEST(BackendAdapter, AResolverThatThrowsFailsItsResolution)
{
    struct Throwing : IChatResolver
    {
        Result<Chat> resolve() override { throw std::bad_alloc(); }
    };
    QuorvelBackendAdapter adapter(nullptr, 0, std::make_unique<Throwing>(), 1);
    QuorvelTest::LogCapture log;
    QFuture<Result<Chat>> future = adapter.resolveChat();
    future.waitForFinished();
    EXPECT_EQ(future.result().error(),
              (Error{ErrorKind::Unknown, "The duty channel could not be resolved: std::bad_alloc", -1}));
    EXPECT_EQ(log.count("resolveChat failed: std::bad_alloc"), 1);
}

} // namespace
} // namespace QuorvelChatTest
