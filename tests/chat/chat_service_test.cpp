// ChatService: its network thread, the adapter it holds while signed in, and
// exactly when it announces a change of adapter.
#include <memory>
#include <vector>

#include <QPointer>
#include <QThread>

#include <gtest/gtest.h>

#include <Ambrel/Client.h>

#include "chat/ChatService.h"
#include "chat/SdkChain.h"
#include "chat_test_support.h"
#include "sdk/qt/AmbrelTokenProvider.h"
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

TEST_F(ChatServiceTest, CarriesItsQualifiedClassName)
{
    EXPECT_STREQ(service.metaObject()->className(), "QuorvelChat::ChatService");
    EXPECT_TRUE(service.inherits("QuorvelSdk::QuorvelServiceBase"));
}

TEST_F(ChatServiceTest, StartsWithoutIdentityButWithARunningNetworkThread)
{
    EXPECT_EQ(service.adapter(), nullptr);
    EXPECT_EQ(service.statusText(), kNoIdentity);
    ASSERT_NE(service.networkService(), nullptr);
    ASSERT_NE(service.networkService()->networkThread(), nullptr);
    EXPECT_TRUE(service.networkService()->networkThread()->isRunning());
    EXPECT_NE(service.networkService()->networkThread(), QThread::currentThread());
    EXPECT_EQ(emissions(), 0);
}

TEST_F(ChatServiceTest, DetachWithoutAdapterAnnouncesNothing)
{
    service.detachAdapter();
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

TEST_F(ChatServiceTest, NullWithoutAdapterAnnouncesNothing)
{
    service.setAdapter(nullptr);
    EXPECT_EQ(emissions(), 0);
    EXPECT_EQ(service.adapter(), nullptr);
}

TEST_F(ChatServiceTest, NullWhileAttachedAnnouncesOnceWithTheAdapterAlreadyGone)
{
    service.setAdapter(tracedAdapter("first"));
    seenInEmission.clear();
    statusInEmission.clear();

    service.setAdapter(nullptr);
    ASSERT_EQ(emissions(), 1);
    EXPECT_EQ(seenInEmission[0], nullptr);
    EXPECT_EQ(statusInEmission[0], kNoIdentity);
    EXPECT_EQ(service.adapter(), nullptr);
    EXPECT_EQ(service.statusText(), kNoIdentity);
    // Cleared before it was destroyed, and destroyed before the announcement.
    ASSERT_EQ(destroyedWhile.size(), 1u);
    EXPECT_EQ(destroyedWhile[0], (std::pair<std::string, SdkAdapter*>{"first", nullptr}));
}

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

TEST_F(ChatServiceTest, DetachAnnouncesOnceAfterTheAdapterIsDestroyed)
{
    service.setAdapter(tracedAdapter("first"));
    seenInEmission.clear();

    QObject::connect(&service, &ChatService::adapterChanged, &service,
                     [this] { EXPECT_EQ(destroyedWhile.size(), 1u); });
    service.detachAdapter();
    ASSERT_EQ(emissions(), 1);
    EXPECT_EQ(seenInEmission[0], nullptr);
    service.detachAdapter();
    EXPECT_EQ(emissions(), 1);
}

TEST_F(ChatServiceTest, ReleaseAllDetachesOnceAndIsHarmlessTwice)
{
    service.setAdapter(tracedAdapter("first"));
    seenInEmission.clear();

    QuorvelSdk::QuorvelServiceBase& base = service;
    base.releaseAll();
    ASSERT_EQ(emissions(), 1);
    EXPECT_EQ(seenInEmission[0], nullptr);
    EXPECT_EQ(service.adapter(), nullptr);
    EXPECT_EQ(service.statusText(), kNoIdentity);
    EXPECT_EQ(destroyedWhile.size(), 1u);

    base.releaseAll();
    EXPECT_EQ(emissions(), 1);
    EXPECT_EQ(destroyedWhile.size(), 1u);
    // Signed out is not shut down: the network thread keeps running.
    EXPECT_TRUE(service.networkService()->networkThread()->isRunning());
}

TEST_F(ChatServiceTest, SigningOutKeepsTheNetworkThreadRunning)
{
    QThread* thread = service.networkService()->networkThread();
    service.setAdapter(tracedAdapter("first"));
    service.detachAdapter();
    EXPECT_EQ(service.networkService()->networkThread(), thread);
    EXPECT_TRUE(thread->isRunning());
}

TEST_F(ChatServiceTest, TakesABuiltChainOverItsOwnNetworkService)
{
    Ambrel::Client client;
    QuorvelSdk::AmbrelTokenProvider provider(&client);
    SdkChainSettings settings;
    settings.networkService = service.networkService();
    settings.tokenProvider = &provider;
    settings.baseUrl = QStringLiteral("http://127.0.0.1:1");
    settings.businessId = QStringLiteral("b1");

    auto chain = buildSdkChain(settings);
    ASSERT_NE(chain, nullptr);
    SdkAdapter* raw = chain.get();
    service.setAdapter(std::move(chain));
    EXPECT_EQ(emissions(), 1);
    EXPECT_EQ(service.adapter(), raw);
    EXPECT_NE(qobject_cast<IChatBackend*>(static_cast<QObject*>(service.adapter())), nullptr);
    EXPECT_EQ(service.statusText(), kAttached);

    service.setAdapter(nullptr);
    EXPECT_EQ(emissions(), 2);
    EXPECT_EQ(service.adapter(), nullptr);
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
