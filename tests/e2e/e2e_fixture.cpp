#include "e2e_fixture.h"

#include <QEventLoop>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QTimer>

namespace QuorvelE2E {

namespace {

// Beyond the host's own deadline: the host must have given up by itself
// before this fires.
constexpr int kHostExitMarginMs = 15000;

} // namespace

QStringList HostRun::lastView() const
{
    const qsizetype at = output.lastIndexOf(QLatin1String("--- view\n"));
    if (at < 0)
        return {};
    return output.mid(at + 9).split(QLatin1Char('\n'));
}

void HostEndToEnd::SetUp()
{
    ASSERT_TRUE(m_logDir.isValid());
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    for (const auto& [name, value] : emulatorEnvironment)
        env.insert(name, value);
    m_emulator.process().setProcessEnvironment(env);
    // To a file rather than a pipe: nobody reads the emulator's stderr while
    // the host runs, and a full pipe would stall the emulator mid-test.
    m_emulator.process().setStandardErrorFile(m_logDir.filePath(QStringLiteral("emulator.stderr")));
    ASSERT_TRUE(m_emulator.start(
        {QStringLiteral("--client-id"), clientId, QStringLiteral("--client-secret"), clientSecret}, kStartMs))
        << m_emulator.error().toStdString();
}

void HostEndToEnd::TearDown()
{
    stopEmulator();
}

QByteArray HostEndToEnd::stopEmulator()
{
    if (!m_emulator.stop(kStartMs))
        ADD_FAILURE() << "the emulator did not stop on SIGTERM";
    QByteArray all = m_emulator.output();
    QFile errors(m_logDir.filePath(QStringLiteral("emulator.stderr")));
    if (errors.open(QIODevice::ReadOnly))
        all += errors.readAll();
    return all;
}

QString HostEndToEnd::service() const
{
    return m_emulator.baseUrl();
}

QJsonObject HostEndToEnd::admin(const QByteArray& verb, const QString& path, const QByteArray& body)
{
    QNetworkAccessManager manager;
    manager.setProxy(QNetworkProxy::NoProxy);
    QNetworkRequest request(QUrl(service() + path));
    request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("application/json"));
    QNetworkReply* reply = manager.sendCustomRequest(request, verb, body);
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    QTimer::singleShot(kStartMs, &loop, &QEventLoop::quit);
    if (!reply->isFinished())
        loop.exec();
    EXPECT_TRUE(reply->isFinished()) << "admin request timed out: " << path.toStdString();
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    const QByteArray answer = reply->readAll();
    EXPECT_GT(status, 0) << path.toStdString() << ": " << reply->errorString().toStdString();
    EXPECT_LT(status, 300) << path.toStdString() << ": " << answer.toStdString();
    delete reply;
    return QJsonDocument::fromJson(answer).object();
}

void HostEndToEnd::fault(const QByteArray& json)
{
    admin("POST", QStringLiteral("/_emulator/faults"), json);
}

int HostEndToEnd::queries()
{
    return admin("GET", QStringLiteral("/_emulator/stats")).value("queries").toInt(-1);
}

int HostEndToEnd::tokens()
{
    return admin("GET", QStringLiteral("/_emulator/stats")).value("tokens").toInt(-1);
}

QStringList HostEndToEnd::issuedTokens()
{
    QStringList list;
    for (const QJsonValue& token :
         admin("GET", QStringLiteral("/_emulator/tokens")).value("tokens").toArray())
        list.append(token.toString());
    return list;
}

HostRun HostEndToEnd::runHost(const QString& businessId, const QString& baseUrl)
{
    HostOptions options;
    options.businessId = businessId;
    options.baseUrl = baseUrl;
    return runHost(options);
}

HostRun HostEndToEnd::runHost(const HostOptions& options)
{
    const QString baseUrl = options.baseUrl.isEmpty() ? service() : options.baseUrl;
    QProcess host;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    // Not on the command line, where any user could read it.
    env.insert(QStringLiteral("VYX_CLIENT_SECRET"), clientSecret);
    for (const auto& [name, value] : options.environment)
        env.insert(name, value);
    host.setProcessEnvironment(env);
    host.start(QStringLiteral(QUORVEL_HOST_BIN),
               QStringList{"--plugins", QStringLiteral(QUORVEL_PLUGIN_DIR), "--base-url", baseUrl,
                           "--business-id", options.businessId, "--token-url", service() + "/oauth/token",
                           "--client-id", clientId, "--page", "Chat", "--print-view", "--settle-ms",
                           QString::number(options.settleMs), "--timeout-ms",
                           QString::number(options.timeoutMs)}
                   + options.arguments);
    HostRun run;
    if (!host.waitForFinished(options.timeoutMs + kHostExitMarginMs)) {
        host.kill();
        host.waitForFinished(kStartMs);
        ADD_FAILURE() << "vyx-host did not exit";
    }
    run.exitCode = host.exitStatus() == QProcess::NormalExit ? host.exitCode() : -1;
    run.output = QString::fromUtf8(host.readAllStandardOutput());
    run.errors = QString::fromUtf8(host.readAllStandardError());
    return run;
}

void expectFailure(const HostRun& run, const QString& status, const QString& message)
{
    ASSERT_EQ(run.exitCode, kPageFailed) << run.errors.toStdString();
    const QStringList view = run.lastView();
    ASSERT_GT(view.size(), Dump) << run.output.toStdString();
    EXPECT_EQ(view[Status], status) << run.output.left(4000).toStdString();
    // Compared as a whole but reported by size only: some messages are a
    // whole reply body.
    EXPECT_TRUE(view[Id] == message) << "message line of " << view[Id].size()
                                     << " characters: " << view[Id].left(300).toStdString() << "\nexpected "
                                     << message.size() << " characters: " << message.left(300).toStdString();
    for (int line = Kind; line <= StateKey; ++line)
        EXPECT_TRUE(view[line].isEmpty()) << line << ": " << view[line].toStdString();
    EXPECT_TRUE(view[Dump].isEmpty()) << view[Dump].left(300).toStdString();
}

void expectDemoChatResolved(const HostRun& run)
{
    ASSERT_EQ(run.exitCode, 0) << run.errors.toStdString();
    const QStringList view = run.lastView();
    ASSERT_GT(view.size(), Dump) << run.output.left(4000).toStdString();
    EXPECT_EQ(view[Status], "Chat resolved.") << run.output.left(4000).toStdString();
    EXPECT_EQ(view[Id], QStringLiteral("Chat.id: ") + QLatin1String(kDemoChatId));
    EXPECT_EQ(view[Kind], "Chat.kind: BusinessTicket");
    EXPECT_EQ(view[ChatTitle], "Chat.title: Support");
    EXPECT_EQ(view[DefaultFlag], "Chat.isDefaultChannel: true");
    EXPECT_EQ(view[Version], "Chat.version: 3");
    EXPECT_EQ(view[StateKey], "Chat.stateKey: OPEN");
    EXPECT_EQ(view[Dump], QStringLiteral("entity.id: ") + QLatin1String(kDemoChatId));
}

} // namespace QuorvelE2E
