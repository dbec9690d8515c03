// Shutdown under load, without a host: the chat service is built, given a
// chain, asked for eight resolutions against a server that answers slowly,
// and destroyed while all of them are still under way, over and over.
#include <memory>
#include <vector>

#include <QCoreApplication>
#include <QFuture>
#include <QScopeGuard>

#include <gtest/gtest.h>

#include "CycleWatchdog.h"
#include "SlowHttpServer.h"
#include "StressConstants.h"
#include "chat/ChatService.h"
#include "chat/SdkChain.h"
#include "sdk/qt/IAuthTokenProvider.h"

namespace QuorvelStress {
namespace {

using namespace QuorvelChat;

class FixedTokenProvider : public QuorvelSdk::IAuthTokenProvider
{
public:
    QByteArray accessToken() override { return QByteArrayLiteral("stress-token"); }
    // The slow server accepts any token, so a renewal would be a fault.
    QByteArray refreshAccessToken() override { return {}; }
};

std::unique_ptr<ChatService> attachedService(const SlowHttpServer& server,
                                             QuorvelSdk::IAuthTokenProvider& tokens)
{
    auto service = std::make_unique<ChatService>();
    SdkChainSettings settings;
    settings.networkService = service->networkService();
    settings.tokenProvider = &tokens;
    settings.baseUrl = QString::fromLatin1(server.baseUrl());
    settings.businessId = QStringLiteral("stress");
    service->setAdapter(buildSdkChain(settings));
    return service;
}

// A resolution that ended as it may when its service is destroyed under it:
// with the chat the server sent, or cancelled by the network service.
::testing::AssertionResult endedCleanly(const QFuture<Result<Chat>>& future)
{
    if (!future.isFinished())
        return ::testing::AssertionFailure() << "the resolution is still running";
    const Result<Chat> result = future.result();
    if (result.hasValue()) {
        if (result.value().title == QLatin1String(kTicketTitle))
            return ::testing::AssertionSuccess();
        return ::testing::AssertionFailure() << "resolved with title " << result.value().title.toStdString();
    }
    const Error& error = result.error();
    if (error.kind == ErrorKind::Network && error.httpCode == kOperationCanceled)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "failed: " << errorKindText(error.kind).toStdString() << " "
                                         << error.httpCode << " " << error.message.toStdString();
}

TEST(ShutdownUnderLoad, DestroyingTheChatServiceMidFlightFinishesEveryResolution)
{
    SlowHttpServer server(QByteArray(kTicketReply), kReplyDelayMs);
    ASSERT_NE(server.port(), 0);
    FixedTokenProvider tokens;

    for (int cycle = 0; cycle < kCycles && !::testing::Test::HasFailure(); ++cycle) {
        server.hold();
        std::unique_ptr<ChatService> service = attachedService(server, tokens);
        // Declared after the service, so it runs before the service's
        // destructor on every way out: a held server would keep that
        // destructor waiting for good.
        auto releaseFirst = qScopeGuard([&server] { server.release(); });
        ASSERT_NE(service->adapter(), nullptr);

        std::vector<QFuture<Result<Chat>>> futures;
        for (int i = 0; i < kResolutionsPerCycle; ++i)
            futures.push_back(service->adapter()->resolveChat());
        // The server holds its replies: every resolution is under way.
        for (const auto& future : futures)
            EXPECT_FALSE(future.isFinished()) << "cycle " << cycle;

        {
            CycleWatchdog watchdog(kCycleLimit, [&server] { server.hangUpAll(); });
            server.release();
            service.reset();
            EXPECT_FALSE(watchdog.fired()) << "cycle " << cycle << ": destroying the chat service hung";
        }
        for (const auto& future : futures)
            EXPECT_TRUE(endedCleanly(future)) << "cycle " << cycle;
        // What the host's event loop would do between two cycles, so that
        // nothing posted for later piles up over the run.
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QCoreApplication::processEvents();
    }
    // Destruction aborts what is in flight, so how many requests got through
    // varies; none may have been sent twice.
    EXPECT_LE(server.received(), kCycles * kResolutionsPerCycle);
    EXPECT_LE(server.answered(), server.received());
}

// The back end's pool waits for its tasks, which wait without a time limit
// for replies: the service must abort its exchanges before it drains the pool.
TEST(ShutdownUnderLoad, DestroyingTheChatServiceWakesResolutionsThatTheServerNeverAnswers)
{
    SlowHttpServer server(QByteArray(kTicketReply), kReplyDelayMs);
    ASSERT_NE(server.port(), 0);
    FixedTokenProvider tokens;
    // Never released: this server takes requests in and never answers.
    server.hold();

    std::unique_ptr<ChatService> service = attachedService(server, tokens);
    ASSERT_NE(service->adapter(), nullptr);
    std::vector<QFuture<Result<Chat>>> futures;
    for (int i = 0; i < kResolutionsPerCycle; ++i)
        futures.push_back(service->adapter()->resolveChat());
    {
        CycleWatchdog watchdog(kCycleLimit, [&server] { server.hangUpAll(); });
        service.reset();
        EXPECT_FALSE(watchdog.fired()) << "destroying the chat service hung";
    }
    for (const auto& future : futures) {
        ASSERT_TRUE(future.isFinished());
        const Result<Chat> result = future.result();
        ASSERT_FALSE(result.hasValue());
        EXPECT_EQ(result.error().kind, ErrorKind::Network);
        EXPECT_EQ(result.error().httpCode, kOperationCanceled);
    }
}

} // namespace
} // namespace QuorvelStress
