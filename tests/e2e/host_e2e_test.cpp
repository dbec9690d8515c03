// The whole product as a person runs it: the host application loads the
// plug-in, signs in against the emulated entity service, and prints its page.
// Both run as real processes on loopback.
#include <gtest/gtest.h>

#include <QEventLoop>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QProcess>
#include <QTcpServer>
#include <QTimer>

namespace {

constexpr int kStartMs = 10000;
constexpr int kHostRunMs = 30000;

struct HostRun
{
    int exitCode = -1;
    QString output;
    QString errors;

    // The last snapshot the host printed, one entry per line.
    QStringList lastView() const
    {
        const qsizetype at = output.lastIndexOf(QLatin1String("--- view\n"));
        if (at < 0)
            return {};
        return output.mid(at + 9).split(QLatin1Char('\n'));
    }
};

class HostEndToEnd : public ::testing::Test
{
protected:
    void SetUp() override
    {
        emulator.setProgram(QStringLiteral(QUORVEL_EMULATOR_BIN));
        emulator.setArguments({QStringLiteral("--port"), QStringLiteral("0")});
        emulator.start();
        ASSERT_TRUE(emulator.waitForStarted(kStartMs)) << emulator.errorString().toStdString();
        QByteArray line;
        while (!line.contains('\n') && emulator.waitForReadyRead(kStartMs))
            line += emulator.readAllStandardOutput();
        const QByteArray prefix = "listening on http://127.0.0.1:";
        ASSERT_TRUE(line.startsWith(prefix)) << line.toStdString();
        port = line.mid(prefix.size()).trimmed().toUShort();
        ASSERT_NE(port, 0);
    }

    void TearDown() override
    {
        emulator.terminate();
        if (!emulator.waitForFinished(kStartMs))
            emulator.kill();
    }

    QString service() const { return QStringLiteral("http://127.0.0.1:%1").arg(port); }

    // One admin exchange with the emulator, bounded by a watchdog.
    QJsonObject admin(const QByteArray& verb, const QString& path, const QByteArray& body = {})
    {
        QNetworkAccessManager manager;
        QNetworkRequest request(QUrl(service() + path));
        request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("application/json"));
        QNetworkReply* reply = manager.sendCustomRequest(request, verb, body);
        QEventLoop loop;
        QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
        QTimer::singleShot(kStartMs, &loop, &QEventLoop::quit);
        loop.exec();
        EXPECT_TRUE(reply->isFinished()) << "admin request timed out: " << path.toStdString();
        const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
        const QByteArray answer = reply->readAll();
        EXPECT_LT(status, 300) << path.toStdString() << ": " << answer.toStdString();
        reply->deleteLater();
        return QJsonDocument::fromJson(answer).object();
    }

    void fault(const QByteArray& json) { admin("POST", QStringLiteral("/_emulator/faults"), json); }
    int queries() { return admin("GET", QStringLiteral("/_emulator/stats")).value("queries").toInt(-1); }
    int tokens() { return admin("GET", QStringLiteral("/_emulator/stats")).value("tokens").toInt(-1); }

    HostRun runHost(const QString& businessId = QStringLiteral("demo"), QString baseUrl = {})
    {
        if (baseUrl.isEmpty())
            baseUrl = service();
        QProcess host;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        host.setProcessEnvironment(env);
        host.start(QStringLiteral(QUORVEL_HOST_BIN),
                   {"--plugins", QStringLiteral(QUORVEL_PLUGIN_DIR), "--base-url", baseUrl,
                    "--business-id", businessId, "--token-url", service() + "/oauth/token",
                    "--client-id", "demo-client", "--client-secret", "demo-secret",
                    "--page", "Chat", "--print-view", "--settle-ms", "400", "--timeout-ms", "15000"});
        HostRun run;
        if (!host.waitForFinished(kHostRunMs)) {
            host.kill();
            host.waitForFinished(kStartMs);
            ADD_FAILURE() << "vyx-host did not exit";
        }
        run.exitCode = host.exitCode();
        run.output = QString::fromUtf8(host.readAllStandardOutput());
        run.errors = QString::fromUtf8(host.readAllStandardError());
        return run;
    }

    QProcess emulator;
    quint16 port = 0;
};

// The view's lines: title, build, status, six fields, caption, dump...
enum Line { Title, Build, Status, Id, Kind, ChatTitle, DefaultFlag, Version, StateKey, Caption, Dump };

void expectFailure(const HostRun& run, const QString& status, const QString& message)
{
    ASSERT_EQ(run.exitCode, 0) << run.errors.toStdString();
    const QStringList view = run.lastView();
    ASSERT_GT(view.size(), Dump) << run.output.toStdString();
    EXPECT_EQ(view[Status], status) << run.output.toStdString();
    EXPECT_EQ(view[Id], message);
    for (int line = Kind; line <= StateKey; ++line)
        EXPECT_TRUE(view[line].isEmpty()) << line;
}

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
}

TEST_F(HostEndToEnd, NonJsonReplyIsUnknown)
{
    fault(R"({"kind":"nonjson"})");
    const HostRun run = runHost();
    ASSERT_EQ(run.exitCode, 0) << run.errors.toStdString();
    const QStringList view = run.lastView();
    EXPECT_EQ(view.value(Status), "Resolve failed \u2014 kind: Unknown, httpCode: 0") << run.output.toStdString();
    EXPECT_TRUE(view.value(Id).contains("<html", Qt::CaseInsensitive)) << view.value(Id).toStdString();
}

} // namespace
