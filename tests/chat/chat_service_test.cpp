// ChatService: its network thread, the adapter it holds while signed in, and
// exactly when it announces a change of adapter.
#include <memory>
#include <vector>

#include <QPointer>
#include <QThread>

#include <gtest/gtest.h>

#include "chat/ChatService.h"
#include "chat_test_support.h"
#include "sdk/qt/QtHttpNetworkService.h"

namespace QuorvelChatTest {
namespace {

using namespace QuorvelChat;

const QString kNoIdentity = QStringLiteral("ChatService: no identity, network thread running.");
const QString kAttached =
    QStringLiteral("ChatService: SDK chain attached, network thread running.");

// A back end that does nothing but report its destruction, and what the
// service's adapter was at that moment.
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

    std::unique_ptr<SdkAdapter> tracedAdapter(const char* name)
    {
        return std::make_unique<SdkAdapter>(std::make_unique<TracedBackend>([this, name] {
            destroyedWhile.emplace_back(name, service.adapter());
        }));
    }

    int emissions() const { return int(seenInEmission.size()); }

    std::vector<SdkAdapter*> seenInEmission;
    std::vector<QString> statusInEmission;
    std::vector<std::pair<std::string, SdkAdapter*>> destroyedWhile;
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

class ChatServiceSignOutTest : public ChatServiceTest,
                               public ::testing::WithParamInterface<SignOut>
{
};

TEST_P(ChatServiceSignOutTest, AnnouncesOnceAfterTheAdapterIsClearedAndDestroyed)
{
    QThread* thread = service.networkService()->networkThread();
    service.setAdapter(tracedAdapter("first"));
    seenInEmission.clear();
    statusInEmission.clear();
    QObject::connect(&service, &ChatService::adapterChanged, &service,
                     [this] { EXPECT_EQ(destroyedWhile.size(), 1u); });

    GetParam().call(service);
    ASSERT_EQ(emissions(), 1);
    EXPECT_EQ(seenInEmission[0], nullptr);
    EXPECT_EQ(statusInEmission[0], kNoIdentity);
    EXPECT_EQ(service.adapter(), nullptr);
    EXPECT_EQ(service.statusText(), kNoIdentity);
    // Cleared before it was destroyed.
    ASSERT_EQ(destroyedWhile.size(), 1u);
    EXPECT_EQ(destroyedWhile[0], (std::pair<std::string, SdkAdapter*>{"first", nullptr}));

    GetParam().call(service);
    EXPECT_EQ(emissions(), 1);
    EXPECT_EQ(destroyedWhile.size(), 1u);
    // Signed out is not shut down: the network thread keeps running.
    EXPECT_EQ(service.networkService()->networkThread(), thread);
    EXPECT_TRUE(thread->isRunning());
}

INSTANTIATE_TEST_SUITE_P(
    ThreeWays, ChatServiceSignOutTest,
    ::testing::Values(
        SignOut{"SetNull", [](ChatService& s) { s.setAdapter(nullptr); }},
        SignOut{"Detach", [](ChatService& s) { s.detachAdapter(); }},
        SignOut{"ReleaseAll",
                [](ChatService& s) { static_cast<QuorvelSdk::QuorvelServiceBase&>(s).releaseAll(); }}),
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
    ASSERT_EQ(destroyedWhile.size(), 1u);
    EXPECT_EQ(destroyedWhile[0].first, "first");
    EXPECT_EQ(service.adapter(), raw);
}

TEST(ChatServiceLifetime, DestructionTakesTheAdapterBeforeTheNetworkThread)
{
    bool backendGone = false;
    bool threadRunningWhenBackendWent = false;
    {
        ChatService service;
        QPointer<QThread> watched(service.networkService()->networkThread());
        service.setAdapter(std::make_unique<SdkAdapter>(std::make_unique<TracedBackend>([&] {
            backendGone = true;
            threadRunningWhenBackendWent = watched && watched->isRunning();
        })));
    }
    EXPECT_TRUE(backendGone);
    EXPECT_TRUE(threadRunningWhenBackendWent);
}

} // namespace
} // namespace QuorvelChatTest
