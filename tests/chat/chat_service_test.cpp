// ChatService: its network thread, the adapter it holds while signed in, and
// exactly when it announces a change of adapter.
#include <atomic>
#include <memory>
#include <vector>

#include <QMutex>
#include <QPointer>
#include <QSemaphore>
#include <QThread>

#include <gtest/gtest.h>

#include "chat/ChatService.h"
#include "chat_test_support.h"
#include "sdk/qt/QtHttpNetworkService.h"

namespace QuorvelChatTest {
namespace {

using namespace QuorvelChat;

const QString kNoIdentity = QStringLiteral("ChatService: no identity, network thread running.");
const QString kAttached = QStringLiteral("ChatService: SDK chain attached, network thread running.");

// A back end that does nothing but report its destruction (on whichever
// thread it happens), and what the service's adapter was at that moment.
class TracedBackend final : public ResolveOnlyBackend
{
public:
    TracedBackend(std::function<void()> onDestroyed) : m_onDestroyed(std::move(onDestroyed)) {}
    ~TracedBackend() override
    {
        if (m_onDestroyed)
            m_onDestroyed();
    }

    QFuture<Result<Chat>> resolveChat() override { return readyFuture(Result<Chat>()); }

private:
    std::function<void()> m_onDestroyed;
};

class ChatServiceTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        QObject::connect(&service, &ChatService::adapterChanged, &service, [this] {
            seenInEmission.push_back(service.adapter());
            statusInEmission.push_back(service.statusText());
        });
    }

    // `hold`, when given, keeps the back end's destructor waiting (as one
    // whose tasks wait for a server would) until it is released.
    std::unique_ptr<SdkAdapter> tracedAdapter(const char* name, QSemaphore* hold = nullptr)
    {
        auto adapter = std::make_unique<SdkAdapter>(std::make_unique<TracedBackend>([this, name, hold] {
            const bool released = hold == nullptr || hold->tryAcquire(1, kWaitMs);
            QMutexLocker locker(&lock);
            destroyedWhile.emplace_back(name, service.adapter());
            destroyedOnCallersThread = destroyedOnCallersThread || QThread::currentThread() == callersThread;
            heldToTheEnd = heldToTheEnd || !released;
            gone.release();
        }));
        adapter->setCanceller([this, name] { cancelled.emplace_back(name, int(seenInEmission.size())); });
        return adapter;
    }

    // Retired adapters die on another thread: waits (bounded) for `count`.
    void awaitDestructions(int count) { ASSERT_TRUE(gone.tryAcquire(count, kWaitMs)); }

    int emissions() const { return int(seenInEmission.size()); }

    static constexpr int kWaitMs = 10000;
    std::vector<SdkAdapter*> seenInEmission;
    std::vector<QString> statusInEmission;
    // Which adapter was cancelled, and how many announcements had been made.
    std::vector<std::pair<std::string, int>> cancelled;
    QMutex lock;
    QSemaphore gone;
    QThread* const callersThread = QThread::currentThread();
    std::vector<std::pair<std::string, SdkAdapter*>> destroyedWhile;
    bool destroyedOnCallersThread = false;
    bool heldToTheEnd = false;
    // Last, so that an adapter it still holds reports into live records.
    ChatService service;
};

TEST_F(ChatServiceTest, StartsWithoutIdentityButWithARunningNetworkThread)
{
    EXPECT_STREQ(service.metaObject()->className(), "QuorvelChat::ChatService");
    EXPECT_TRUE(service.inherits("QuorvelSdk::QuorvelServiceBase"));
    EXPECT_EQ(service.adapter(), nullptr);
    EXPECT_EQ(service.statusText(), kNoIdentity);
    ASSERT_NE(service.networkService(), nullptr);
    ASSERT_NE(service.networkService()->networkThread(), nullptr);
    EXPECT_TRUE(service.networkService()->networkThread()->isRunning());
    EXPECT_NE(service.networkService()->networkThread(), QThread::currentThread());

    // Nothing to take away: nothing is announced.
    service.detachAdapter();
    service.setAdapter(nullptr);
    EXPECT_EQ(emissions(), 0);
    EXPECT_EQ(service.adapter(), nullptr);
}

TEST_F(ChatServiceTest, AttachingAnnouncesOnceAndChangesTheStatus)
{
    auto adapter = tracedAdapter("first");
    SdkAdapter* raw = adapter.get();
    service.setAdapter(std::move(adapter));
    EXPECT_EQ(service.adapter(), raw);
    EXPECT_EQ(service.statusText(), kAttached);
    ASSERT_EQ(emissions(), 1);
    EXPECT_EQ(seenInEmission[0], raw);
    EXPECT_EQ(statusInEmission[0], kAttached);
    EXPECT_TRUE(destroyedWhile.empty());
}

// Signing out by each of the three ways the service offers.
struct SignOut
{
    const char* name;
    void (*call)(ChatService&);
};

void PrintTo(const SignOut& way, std::ostream* out)
{
    *out << way.name;
}

class ChatServiceSignOutTest : public ChatServiceTest, public ::testing::WithParamInterface<SignOut>
{
};

TEST_P(ChatServiceSignOutTest, AnnouncesAtOnceAndRetiresTheCancelledAdapterElsewhere)
{
    QThread* thread = service.networkService()->networkThread();
    QSemaphore hold;
    service.setAdapter(tracedAdapter("first", &hold));
    seenInEmission.clear();
    statusInEmission.clear();

    // The adapter's tasks still wait for their server, yet the call returns.
    GetParam().call(service);
    ASSERT_EQ(emissions(), 1);
    EXPECT_EQ(seenInEmission[0], nullptr);
    EXPECT_EQ(statusInEmission[0], kNoIdentity);
    EXPECT_EQ(service.adapter(), nullptr);
    EXPECT_EQ(service.statusText(), kNoIdentity);
    // Cancelled before anyone heard it was gone.
    EXPECT_EQ(cancelled, (std::vector<std::pair<std::string, int>>{{"first", 0}}));

    hold.release();
    awaitDestructions(1);
    QMutexLocker locker(&lock);
    EXPECT_FALSE(heldToTheEnd) << "the sign-out waited for the adapter";
    EXPECT_FALSE(destroyedOnCallersThread);
    EXPECT_EQ(destroyedWhile, (std::vector<std::pair<std::string, SdkAdapter*>>{{"first", nullptr}}));
    locker.unlock();

    GetParam().call(service);
    EXPECT_EQ(emissions(), 1);
    EXPECT_EQ(cancelled.size(), 1u);
    // Signed out is not shut down: the network thread keeps running.
    EXPECT_EQ(service.networkService()->networkThread(), thread);
    EXPECT_TRUE(thread->isRunning());
}

INSTANTIATE_TEST_SUITE_P(
    ThreeWays, ChatServiceSignOutTest,
    ::testing::Values(SignOut{"SetNull", [](ChatService& s) { s.setAdapter(nullptr); }},
                      SignOut{"Detach", [](ChatService& s) { s.detachAdapter(); }},
                      SignOut{"ReleaseAll",
                              [](ChatService& s) {
                                  static_cast<QuorvelSdk::QuorvelServiceBase&>(s).releaseAll();
                              }}),
    [](const ::testing::TestParamInfo<SignOut>& info) { return std::string(info.param.name); });

TEST_F(ChatServiceTest, ReplacingAnnouncesRemovalThenTheNewChain)
{
    service.setAdapter(tracedAdapter("first"));
    seenInEmission.clear();
    statusInEmission.clear();

    auto second = tracedAdapter("second");
    SdkAdapter* raw = second.get();
    service.setAdapter(std::move(second));
    ASSERT_EQ(emissions(), 2);
    EXPECT_EQ(seenInEmission[0], nullptr);
    EXPECT_EQ(statusInEmission[0], kNoIdentity);
    EXPECT_EQ(seenInEmission[1], raw);
    EXPECT_EQ(statusInEmission[1], kAttached);
    EXPECT_EQ(cancelled, (std::vector<std::pair<std::string, int>>{{"first", 0}}));
    awaitDestructions(1);
    QMutexLocker locker(&lock);
    EXPECT_EQ(destroyedWhile[0].first, "first");
    EXPECT_EQ(service.adapter(), raw);
}

// Both the adapter held and the ones retired earlier (still waiting for their
// tasks) go before the network thread they send through.
TEST(ChatServiceLifetime, DestructionTakesEveryAdapterBeforeTheNetworkThread)
{
    std::atomic<int> backendsGone = 0;
    std::atomic<int> goneWhileThreadRan = 0;
    {
        ChatService service;
        QPointer<QThread> watched(service.networkService()->networkThread());
        QThread* network = watched;
        auto traced = [&] {
            return std::make_unique<SdkAdapter>(std::make_unique<TracedBackend>([&, network] {
                // A retired adapter's tasks take their time.
                QThread::msleep(50);
                ++backendsGone;
                if (network->isRunning())
                    ++goneWhileThreadRan;
            }));
        };
        service.setAdapter(traced());
        service.setAdapter(traced());
        service.setAdapter(traced());
    }
    EXPECT_EQ(backendsGone, 3);
    EXPECT_EQ(goneWhileThreadRan, 3);
}

} // namespace
} // namespace QuorvelChatTest
