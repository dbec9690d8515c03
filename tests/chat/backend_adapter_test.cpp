// The back-end adapter: its private pool, the resolver hand-off, the
// operations that are not built yet, and what its destruction waits for.
#include <algorithm>
#include <atomic>
#include <memory>
#include <vector>

#include <QSemaphore>
#include <QThread>
#include <QThreadPool>

#include <gtest/gtest.h>

#include "chat/QuorvelBackendAdapter.h"
#include "chat_test_support.h"
#include "sdk/core/tenant.h"

namespace QuorvelChatTest {
namespace {

using namespace QuorvelChat;

Chat answerChat()
{
    Chat chat;
    chat.id = QUuid::fromString(QStringLiteral("{00000000-0000-0000-0000-0000000000aa}"));
    chat.kind = ChatKind::BusinessTicket;
    chat.title = QStringLiteral("from the resolver");
    chat.businessId = QStringLiteral("b1");
    chat.version = 5;
    return chat;
}

// What a blocking resolver saw; shared with the test so that it survives the
// resolver.
struct ResolverProbe
{
    QSemaphore started;
    QSemaphore gate;
    std::atomic<int> running{0};
    std::atomic<int> peak{0};
    std::atomic<int> calls{0};
    std::atomic<bool> destroyed{false};
    std::atomic<int> runningAtDestruction{-1};
    // Set by a test once the adapter's destructor has returned.
    std::atomic<bool> ownerGone{false};
    std::atomic<bool> ownerGoneBeforeEnd{false};
    std::weak_ptr<tarsion::tenant> tenant;
    std::atomic<bool> tenantAliveAtDestruction{false};
};

// Holds each resolution until the test opens the gate. Bounded by the
// watchdog, so a broken adapter fails the test instead of hanging it.
class BlockingResolver final : public IChatResolver
{
public:
    BlockingResolver(std::shared_ptr<ResolverProbe> probe, Result<Chat> answer)
        : m_probe(std::move(probe))
        , m_answer(std::move(answer))
    {
    }

    ~BlockingResolver() override
    {
        m_probe->runningAtDestruction = m_probe->running.load();
        m_probe->tenantAliveAtDestruction = !m_probe->tenant.expired();
        m_probe->destroyed = true;
    }

    Result<Chat> resolve() override
    {
        // Copies first: should the resolver die under a running task, nothing
        // of it is touched after the wait.
        const std::shared_ptr<ResolverProbe> probe = m_probe;
        const Result<Chat> answer = m_answer;
        ++probe->calls;
        const int now = ++probe->running;
        int seen = probe->peak.load();
        while (seen < now && !probe->peak.compare_exchange_weak(seen, now)) {}
        probe->started.release();
        const bool opened = probe->gate.tryAcquire(1, watchdogMs());
        if (probe->ownerGone)
            probe->ownerGoneBeforeEnd = true;
        --probe->running;
        if (!opened)
            return Error{ErrorKind::Unknown, QStringLiteral("gate never opened"), -1};
        return answer;
    }

private:
    std::shared_ptr<ResolverProbe> m_probe;
    Result<Chat> m_answer;
};

class ImmediateResolver final : public IChatResolver
{
public:
    explicit ImmediateResolver(Result<Chat> answer, std::atomic<QThread*>* thread = nullptr)
        : m_answer(std::move(answer))
        , m_thread(thread)
    {
    }

    Result<Chat> resolve() override
    {
        if (m_thread)
            *m_thread = QThread::currentThread();
        return m_answer;
    }

private:
    Result<Chat> m_answer;
    std::atomic<QThread*>* m_thread;
};

std::unique_ptr<QuorvelBackendAdapter> adapterWith(std::unique_ptr<IChatResolver> resolver,
                                                   qint32 threads = 4,
                                                   std::shared_ptr<tarsion::tenant> tenant = {})
{
    return std::make_unique<QuorvelBackendAdapter>(std::move(tenant), 0, std::move(resolver), threads);
}

// ---------------------------------------------------------------- the pool

TEST(BackendAdapter, EachAdapterHasItsOwnNamedSizedPoolThatNeverRetiresThreads)
{
    const auto one = adapterWith(nullptr, 1);
    const auto seven = adapterWith(nullptr, 7);
    for (const auto& [adapter, threads] : {std::pair{one.get(), 1}, std::pair{seven.get(), 7}}) {
        SCOPED_TRACE(threads);
        QThreadPool* pool = adapter->threadPool();
        ASSERT_NE(pool, nullptr);
        EXPECT_NE(pool, QThreadPool::globalInstance());
        EXPECT_EQ(pool->objectName(), QStringLiteral("QuorvelChat-Adapter"));
        EXPECT_EQ(pool->maxThreadCount(), threads);
        EXPECT_EQ(pool->expiryTimeout(), -1);
    }
    EXPECT_NE(one->threadPool(), seven->threadPool());
}

// ---------------------------------------------------------------- resolveChat

TEST(BackendAdapter, WithoutResolverResolveChatIsAValidationError)
{
    const auto adapter = adapterWith(nullptr);
    const auto error = awaitError(adapter->resolveChat());
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(*error, (Error{ErrorKind::Validation,
                             QString::fromUtf8("QuorvelBackendAdapter::resolveChat \xE2\x80\x94 no "
                                               "IChatResolver installed"),
                             -1}));
}

TEST(BackendAdapter, ResolverAnswersAreDeliveredUnchangedFromAPoolThread)
{
    std::atomic<QThread*> thread{nullptr};
    const auto adapter = adapterWith(std::make_unique<ImmediateResolver>(answerChat(), &thread));
    const auto result = awaitResult(adapter->resolveChat());
    ASSERT_TRUE(result.has_value());
    ASSERT_TRUE(result->hasValue()) << ::testing::PrintToString(result->error());
    EXPECT_EQ(result->value().id, answerChat().id);
    EXPECT_EQ(result->value().title, answerChat().title);
    EXPECT_EQ(result->value().version, 5);
    ASSERT_NE(thread.load(), nullptr);
    EXPECT_TRUE(adapter->threadPool()->contains(thread.load()));

    const Error conflict{ErrorKind::Conflict, QStringLiteral("someone else"), 409};
    const auto failing = adapterWith(std::make_unique<ImmediateResolver>(conflict));
    const auto error = awaitError(failing->resolveChat());
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(*error, conflict);
}

// ---------------------------------------------------------------- not built yet

TEST(BackendAdapter, EveryOperationNotBuiltAnswersNotImplementedWithItsName)
{
    // A resolver is installed; it must not matter to the other operations.
    // What is passed does not matter either: none of them looks at it yet.
    const auto adapter = adapterWith(std::make_unique<ImmediateResolver>(answerChat()));
    IChatBackend& b = *adapter;
    const std::pair<const char*, std::optional<Error>> answers[] = {
        {"listMessages", awaitError(b.listMessages({}))},
        {"postMessage", awaitError(b.postMessage({}))},
        {"patchMessage", awaitError(b.patchMessage({}))},
        {"deleteMessage", awaitError(b.deleteMessage(QUuid()))},
        {"uploadAttachment", awaitError(b.uploadAttachment({}))},
        {"downloadAttachment", awaitError(b.downloadAttachment({}))},
        {"saveDraft", awaitError(b.saveDraft({}))},
    };
    for (const auto& [operation, error] : answers) {
        ASSERT_TRUE(error.has_value()) << operation;
        EXPECT_EQ(*error, (Error{ErrorKind::NotImplemented,
                                 QStringLiteral("Not implemented: ") + QString::fromLatin1(operation), -1}));
    }
}

TEST(BackendAdapter, NotBuiltOperationsCopyTheirArgumentAndQueueOnTheAdaptersPool)
{
    // One thread, held by a resolution: whatever is submitted next waits in
    // this adapter's queue, so it must hold its own copy of the argument.
    auto probe = std::make_shared<ResolverProbe>();
    const auto adapter = adapterWith(std::make_unique<BlockingResolver>(probe, answerChat()), 1);
    const auto blocker = adapter->resolveChat();
    ASSERT_TRUE(probe->started.tryAcquire(1, watchdogMs()));

    // Heap data: a literal never counts as detached.
    QString text = QString::fromUtf8("caller's text");
    QString cursor = QString::fromUtf8("caller's cursor");
    ASSERT_TRUE(text.isDetached());
    ASSERT_TRUE(cursor.isDetached());
    QFuture<Result<Message>> posted;
    QFuture<Result<MessagesPage>> listed;
    {
        auto request = std::make_unique<MessageDraftRequest>();
        request->text = text;
        posted = adapter->postMessage(*request);
        auto list = std::make_unique<ListMessagesRequest>();
        list->cursor = cursor;
        listed = adapter->listMessages(*list);
    }
    // The caller's requests are gone; the queued tasks still share the text.
    EXPECT_FALSE(text.isDetached());
    EXPECT_FALSE(cursor.isDetached());
    EXPECT_FALSE(posted.isFinished());
    EXPECT_FALSE(listed.isFinished());

    // A synchronous continuation runs on the thread that finished the task
    // (or here, had it finished already).
    std::atomic<QThread*> postedOn{nullptr};
    std::atomic<QThread*> listedOn{nullptr};
    const QFuture<void> postedSeen = posted.then(
        QtFuture::Launch::Sync, [&](const Result<Message>&) { postedOn = QThread::currentThread(); });
    const QFuture<void> listedSeen = listed.then(
        QtFuture::Launch::Sync, [&](const Result<MessagesPage>&) { listedOn = QThread::currentThread(); });

    probe->gate.release();
    ASSERT_TRUE(awaitFinished(postedSeen));
    ASSERT_TRUE(awaitFinished(listedSeen));
    EXPECT_TRUE(adapter->threadPool()->contains(postedOn.load()));
    EXPECT_TRUE(adapter->threadPool()->contains(listedOn.load()));
    const auto postError = awaitError(posted);
    const auto listError = awaitError(listed);
    ASSERT_TRUE(postError.has_value());
    ASSERT_TRUE(listError.has_value());
    EXPECT_EQ(postError->message, QStringLiteral("Not implemented: postMessage"));
    EXPECT_EQ(listError->message, QStringLiteral("Not implemented: listMessages"));
    const auto first = awaitResult(blocker);
    ASSERT_TRUE(first.has_value());
    EXPECT_TRUE(first->hasValue());
}

// ---------------------------------------------------------------- concurrency

TEST(BackendAdapter, AFifthSimultaneousResolutionWaitsForAFreeThread)
{
    auto probe = std::make_shared<ResolverProbe>();
    const auto adapter = adapterWith(std::make_unique<BlockingResolver>(probe, answerChat()), 4);

    std::vector<QFuture<Result<Chat>>> futures;
    for (int i = 0; i < 5; ++i)
        futures.push_back(adapter->resolveChat());

    ASSERT_TRUE(probe->started.tryAcquire(4, watchdogMs()));
    EXPECT_EQ(probe->running.load(), 4);
    EXPECT_EQ(adapter->threadPool()->activeThreadCount(), 4);
    EXPECT_FALSE(probe->started.tryAcquire(1)) << "a fifth resolution runs beside the four";

    // One thread comes free; only now may the fifth begin.
    probe->gate.release();
    EXPECT_TRUE(probe->started.tryAcquire(1, watchdogMs()));
    probe->gate.release(4);

    for (const auto& future : futures) {
        const auto result = awaitResult(future);
        ASSERT_TRUE(result.has_value());
        ASSERT_TRUE(result->hasValue()) << ::testing::PrintToString(result->error());
        EXPECT_EQ(result->value().title, answerChat().title);
    }
    EXPECT_EQ(probe->calls.load(), 5);
    EXPECT_EQ(probe->peak.load(), 4);
}

// ---------------------------------------------------------------- destruction

TEST(BackendAdapter, DestructionWaitsForTheRunningTaskAndRunsTheQueuedOnes)
{
    // One thread, held by a resolution, with a task queued behind it.
    auto probe = std::make_shared<ResolverProbe>();
    auto adapter = adapterWith(std::make_unique<BlockingResolver>(probe, answerChat()), 1);
    const auto running = adapter->resolveChat();
    const auto queued = adapter->saveDraft({});
    ASSERT_TRUE(probe->started.tryAcquire(1, watchdogMs()));

    QSemaphore destroying;
    std::unique_ptr<QThread> destroyer(QThread::create([&] {
        destroying.release();
        adapter.reset();
        probe->ownerGone = true;
    }));
    destroyer->start();
    EXPECT_TRUE(destroying.tryAcquire(1, watchdogMs()));
    EXPECT_FALSE(probe->destroyed.load()) << "the resolver went while its task was held";

    probe->gate.release();
    if (!awaitThread(*destroyer)) {
        ADD_FAILURE() << "watchdog: the adapter's destruction did not return";
        probe->gate.release(8);
    }
    destroyer->wait();

    EXPECT_FALSE(probe->ownerGoneBeforeEnd.load()) << "the adapter was gone before its task had ended";
    EXPECT_TRUE(probe->destroyed.load());
    EXPECT_EQ(probe->runningAtDestruction.load(), 0);
    ASSERT_TRUE(queued.isFinished());
    const auto error = awaitError(queued);
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->message, QStringLiteral("Not implemented: saveDraft"));
    const auto result = awaitResult(running);
    ASSERT_TRUE(result.has_value());
    ASSERT_TRUE(result->hasValue()) << ::testing::PrintToString(result->error());
    EXPECT_EQ(result->value().title, answerChat().title);
}

TEST(BackendAdapter, ResolverGoesBeforeTheTenantIsReleased)
{
    auto probe = std::make_shared<ResolverProbe>();
    auto tenant = std::make_shared<tarsion::tenant>(tarsion::tenant_base{});
    probe->tenant = tenant;
    auto adapter = adapterWith(std::make_unique<BlockingResolver>(probe, answerChat()), 2, std::move(tenant));
    ASSERT_FALSE(probe->tenant.expired());

    adapter.reset();
    EXPECT_TRUE(probe->destroyed.load());
    EXPECT_TRUE(probe->tenantAliveAtDestruction.load());
    EXPECT_TRUE(probe->tenant.expired());
}

} // namespace
} // namespace QuorvelChatTest
