// The whole product as a person runs it: the host application loads the
// plug-in, signs in against the emulated entity service, and prints its page.
// Both run as real processes on loopback.
#include "e2e_fixture.h"

#include <QTcpServer>

#include <ostream>

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
    EXPECT_TRUE(view.contains("    locale[EN_US] display=Support value=Support")) << run.output.toStdString();
    // Only the asked locale came back.
    EXPECT_FALSE(run.output.contains("DE_DE"));
    EXPECT_EQ(queries(), 1);
}

TEST_F(HostEndToEnd, NoDutyChannelIsNotFound)
{
    expectFailure(runHost(QStringLiteral("empty")), "Resolve failed \u2014 kind: NotFound, httpCode: -1",
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
    ASSERT_EQ(run.exitCode, kPageFailed) << run.errors.toStdString();
    const QStringList view = run.lastView();
    EXPECT_EQ(view.value(Status), "Resolve failed \u2014 kind: Unknown, httpCode: 0")
        << run.output.toStdString();
    EXPECT_TRUE(view.value(Id).contains("<html", Qt::CaseInsensitive)) << view.value(Id).toStdString();
    EXPECT_EQ(queries(), 1);
}

// The host's command line on its own: no emulator, and for help and version
// no display either.
struct CommandLineRow
{
    const char* name;
    QStringList arguments;
    int exitCode;
    // Expected at the start of stdout, or else somewhere in stderr.
    QString stdoutStart;
    QString stderrPart;
};

void PrintTo(const CommandLineRow& row, std::ostream* out)
{
    *out << row.name;
}

class HostCommandLine : public ::testing::TestWithParam<CommandLineRow>
{
};

TEST_P(HostCommandLine, AnswersWithTheDocumentedExitCode)
{
    const CommandLineRow& row = GetParam();
    QProcess host;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.remove(QStringLiteral("DISPLAY"));
    env.remove(QStringLiteral("WAYLAND_DISPLAY"));
    // Only the rows that get past the arguments need a platform at all; an
    // unknown option might be Qt's, which only Qt can tell.
    if (row.exitCode != 0 && (row.exitCode != 2 || row.arguments == QStringList{"--colour"}))
        env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    else
        env.remove(QStringLiteral("QT_QPA_PLATFORM"));
    host.setProcessEnvironment(env);
    host.start(QStringLiteral(QUORVEL_HOST_BIN), row.arguments);
    ASSERT_TRUE(host.waitForFinished(kStartMs));
    const QString out = QString::fromUtf8(host.readAllStandardOutput());
    const QString err = QString::fromUtf8(host.readAllStandardError());
    EXPECT_EQ(host.exitStatus(), QProcess::NormalExit) << err.toStdString();
    EXPECT_EQ(host.exitCode(), row.exitCode) << err.toStdString();
    if (!row.stdoutStart.isEmpty()) {
        EXPECT_TRUE(out.startsWith(row.stdoutStart)) << out.toStdString();
    }
    if (!row.stderrPart.isEmpty()) {
        EXPECT_TRUE(err.contains(row.stderrPart)) << err.toStdString();
    }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, HostCommandLine,
    ::testing::Values(
        CommandLineRow{"Help", {"--help"}, 0, "Usage: ", {}},
        CommandLineRow{"HelpAll", {"--help-all"}, 0, "Usage: ", {}},
        CommandLineRow{"Version", {"--version"}, 0, "vyx-host 0.1", {}},
        CommandLineRow{"UnknownOption", {"--colour"}, 2, {}, "Unknown option 'colour'"},
        CommandLineRow{"BaseUrlNotHttp",
                       {"--base-url", "ftp://example.com"},
                       2,
                       {},
                       "--base-url must be an http or https address"},
        CommandLineRow{"BaseUrlWithQuery",
                       {"--base-url", "http://example.com/?a=1"},
                       2,
                       {},
                       "--base-url must not carry a query or a fragment"},
        CommandLineRow{
            "BusinessIdWithSlash", {"--business-id", "a/b"}, 2, {}, "--business-id may hold only letters"},
        CommandLineRow{"FolderWithoutPlugins", {"--plugins", QUORVEL_PLUGIN_DIR "/../bin", "--print-view"}, 1, {},
                       ": not a shared library"},
        CommandLineRow{"NoSuchPage",
                       {"--plugins", QUORVEL_PLUGIN_DIR, "--page", "Mail", "--print-view"},
                       1,
                       {},
                       "no page \"Mail\"; pages: Chat"},
        CommandLineRow{"ScreenshotNotWritten",
                       {"--plugins", QUORVEL_PLUGIN_DIR, "--settle-ms", "0", "--screenshot",
                        "/nonexistent/folder/page.png"},
                       6,
                       {},
                       "cannot write /nonexistent/folder/page.png"}),
    [](const auto& info) { return std::string(info.param.name); });

} // namespace
} // namespace QuorvelE2E
