#include "e2e_fixture.h"

#include <QEventLoop>
#include <QFile>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QProcess>
#include <QTimer>

#include "support/qt/Golden.h"

namespace QuorvelE2E {

QString failed(const char* kind, int httpCode)
{
    return QStringLiteral("Resolve failed \u2014 kind: %1, httpCode: %2")
        .arg(QLatin1String(kind), QString::number(httpCode));
}

QStringList HostRun::lastView() const
{
    return settledViews().constLast();
}

QList<QStringList> HostRun::settledViews() const
{
    QList<QStringList> views;
    QStringList current;
    for (const QString& part : output.split(QLatin1String("--- step "))) {
        if (const qsizetype at = part.lastIndexOf(QLatin1String("--- view\n")); at >= 0)
            current = part.mid(at + 9).split(QLatin1Char('\n'));
        views << current;
    }
    return views;
}

void HostEndToEnd::SetUp()
{
    ASSERT_TRUE(m_logDir.isValid());
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    for (const auto& [name, value] : emulatorEnvironment)
        env.insert(name, value);
    m_emulator.process().setProcessEnvironment(env);
    // A file, not a pipe: nobody reads it while the host runs, and a full
    // pipe would stall the emulator mid-test.
    m_emulator.process().setStandardErrorFile(m_logDir.filePath(QStringLiteral("emulator.stderr")));
    ASSERT_TRUE(m_emulator.start(
        QStringList{"--client-id", clientId, "--client-secret", clientSecret} + emulatorArguments, kStartMs))
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

QJsonObject HostEndToEnd::admin(const QByteArray& verb, const QString& path, const QByteArray& body)
{
    QNetworkAccessManager manager;
    manager.setProxy(QNetworkProxy::NoProxy);
    QNetworkRequest request(QUrl(m_emulator.baseUrl() + path));
    request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("application/json"));
    request.setRawHeader("X-Emulator-Admin-Key", m_emulator.adminKey());
    std::unique_ptr<QNetworkReply> reply(manager.sendCustomRequest(request, verb, body));
    QEventLoop loop;
    QObject::connect(reply.get(), &QNetworkReply::finished, &loop, &QEventLoop::quit);
    QTimer::singleShot(kStartMs, &loop, &QEventLoop::quit);
    if (!reply->isFinished())
        loop.exec();
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    const QByteArray answer = reply->readAll();
    EXPECT_TRUE(status >= 200 && status < 300) << path.toStdString() << ": " << status << " "
                                               << answer.toStdString() << reply->errorString().toStdString();
    return QJsonDocument::fromJson(answer).object();
}

HostRun HostEndToEnd::runHost(const HostOptions& options)
{
    QProcess host;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    // Not on the command line, where any user could read it.
    env.insert(QStringLiteral("VYX_CLIENT_SECRET"), clientSecret);
    for (const auto& [name, value] : options.environment)
        env.insert(name, value);
    host.setProcessEnvironment(env);
    const QString service = m_emulator.baseUrl();
    host.start(QStringLiteral(QUORVEL_HOST_BIN),
               QStringList{"--plugins", QStringLiteral(QUORVEL_PLUGIN_DIR), "--base-url",
                           options.baseUrl.isEmpty() ? service : options.baseUrl, "--business-id",
                           options.businessId, "--token-url",
                           options.tokenUrl.isEmpty() ? service + "/oauth/token" : options.tokenUrl,
                           "--client-id", clientId, "--page", "Chat", "--print-view", "--settle-ms", "400",
                           "--timeout-ms", QString::number(options.timeoutMs)}
                   + options.arguments);
    // Well past the host's own deadline: it must have given up by itself.
    if (!host.waitForFinished(options.timeoutMs + 15000)) {
        host.kill();
        host.waitForFinished(kStartMs);
        ADD_FAILURE() << "vyx-host did not exit";
    }
    HostRun run;
    run.exitCode = host.exitStatus() == QProcess::NormalExit ? host.exitCode() : -1;
    run.output = QString::fromUtf8(host.readAllStandardOutput());
    run.errors = QString::fromUtf8(host.readAllStandardError());
    return run;
}

void expectFailure(const HostRun& run, const QString& status, const QString& message)
{
    ASSERT_EQ(run.exitCode, kPageFailed) << run.errors.left(2000).toStdString();
    expectFailedView(run.lastView(), status, message);
}

void expectFailedView(const QStringList& view, const QString& status, const QString& message)
{
    ASSERT_GT(view.size(), Dump) << view.join('\n').left(2000).toStdString();
    EXPECT_EQ(view[Status], status) << view.join('\n').left(4000).toStdString();
    // Reported by size only: some messages are a whole reply body.
    EXPECT_TRUE(view[Id] == message) << view[Id].size() << " characters: " << view[Id].left(300).toStdString()
                                     << "\nexpected " << message.size() << ": "
                                     << message.left(300).toStdString();
    for (int line = Kind; line <= Dump; ++line)
        EXPECT_TRUE(line == Caption || view[line].isEmpty())
            << line << ": " << view[line].left(300).toStdString();
}

void expectDemoChatResolved(const HostRun& run, const char* golden)
{
    ASSERT_EQ(run.exitCode, kSettled) << run.errors.left(2000).toStdString();
    expectDemoChat(run.lastView(), golden);
}

void expectDemoChat(const QStringList& view, const char* golden)
{
    ASSERT_GT(view.size(), Dump) << view.join('\n').left(4000).toStdString();
    QStringList page = view;
    // The build's date and time change with every build.
    EXPECT_TRUE(page[Build].startsWith("Skeleton build, compiled ")) << page[Build].toStdString();
    page[Build] = QStringLiteral("<build line>");
    EXPECT_TRUE(QuorvelTest::matchesGolden(
        QStringLiteral(QUORVEL_GOLDEN_DIR "/%1.page.txt").arg(QLatin1String(golden)), page.join('\n')));
}

} // namespace QuorvelE2E
