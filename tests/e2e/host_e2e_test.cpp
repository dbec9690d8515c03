// The whole product as a person runs it: the host application loads the
// plug-in, signs in against the emulated entity service, and prints its page.
// Both run as real processes on loopback.
#include "e2e_fixture.h"

#include <QTcpServer>

namespace QuorvelE2E {
namespace {

TEST_F(HostEndToEnd, ResolvesTheDutyChannel)
{
    const HostRun run = runHost();
    ASSERT_EQ(run.exitCode, 0) << run.errors.toStdString();
    const QStringList view = run.lastView();
    ASSERT_GT(view.size(), Dump) << run.output.toStdString();
    EXPECT_EQ(view[Title], "Quorvel chat plugin");
    EXPECT_TRUE(view[Build].startsWith("Skeleton build, compiled "));
    EXPECT_EQ(view[Status], "Chat resolved.");
    EXPECT_TRUE(view[Id].startsWith("Chat.id: ")) << view[Id].toStdString();
    EXPECT_EQ(view[Id].size(), 9 + 36);
    EXPECT_EQ(view[Kind], "Chat.kind: BusinessTicket");
    EXPECT_EQ(view[ChatTitle], "Chat.title: Support");
    EXPECT_EQ(view[DefaultFlag], "Chat.isDefaultChannel: true");
    EXPECT_EQ(view[Version], "Chat.version: 3");
    EXPECT_EQ(view[StateKey], "Chat.stateKey: OPEN");
    EXPECT_EQ(view[Caption], "Raw EntityDto dump:");
    EXPECT_EQ(view[Dump], "entity.id: " + view[Id].mid(9));
    EXPECT_TRUE(view.contains("    locale[EN_US] display=Support value=Support"))
        << run.output.toStdString();
    // Only the asked locale came back.
    EXPECT_FALSE(run.output.contains("DE_DE"));
    EXPECT_EQ(queries(), 1);
}

TEST_F(HostEndToEnd, NoDutyChannelIsNotFound)
{
    expectFailure(runHost(QStringLiteral("empty")),
                  "Resolve failed \u2014 kind: NotFound, httpCode: -1",
                  "No default duty channel (IS_DEFAULT_CHANNEL=TRUE) found for current principal");
    EXPECT_EQ(queries(), 1);
}

TEST_F(HostEndToEnd, ExpiredTokenIsRenewedAndTheQueryResent)
{
    fault(R"({"kind":"expire"})");
    const HostRun run = runHost();
    ASSERT_EQ(run.exitCode, 0) << run.errors.toStdString();
    EXPECT_EQ(run.lastView().value(Status), "Chat resolved.") << run.output.toStdString();
    EXPECT_EQ(queries(), 2);
    EXPECT_EQ(tokens(), 2); // sign-in, then the renewal
}

TEST_F(HostEndToEnd, ServiceUnavailableIsServerErrorSentOnce)
{
    fault(R"({"kind":"status","status":503,"body":"maintenance","times":-1})");
    expectFailure(runHost(), "Resolve failed \u2014 kind: ServerError, httpCode: 503", "maintenance");
    EXPECT_EQ(queries(), 1);
}

TEST_F(HostEndToEnd, RefusedConnectionIsNetwork)
{
    QTcpServer closed;
    ASSERT_TRUE(closed.listen(QHostAddress::LocalHost, 0));
    const QString unreachable = QStringLiteral("http://127.0.0.1:%1").arg(closed.serverPort());
    closed.close();
    // Qt's number for a refused connection is 1; the SDK passes it on as the code.
    expectFailure(runHost(QStringLiteral("demo"), unreachable),
                  "Resolve failed \u2014 kind: Network, httpCode: 1", QString());
    // Only the sign-in reached the emulator.
    EXPECT_EQ(queries(), 0);
    EXPECT_EQ(tokens(), 1);
}

TEST_F(HostEndToEnd, NonJsonReplyIsUnknown)
{
    fault(R"({"kind":"nonjson"})");
    const HostRun run = runHost();
    ASSERT_EQ(run.exitCode, 0) << run.errors.toStdString();
    const QStringList view = run.lastView();
    EXPECT_EQ(view.value(Status), "Resolve failed \u2014 kind: Unknown, httpCode: 0") << run.output.toStdString();
    EXPECT_TRUE(view.value(Id).contains("<html", Qt::CaseInsensitive)) << view.value(Id).toStdString();
    EXPECT_EQ(queries(), 1);
}

} // namespace
} // namespace QuorvelE2E
