#include "EmulatorHarness.h"

#include <gtest/gtest.h>

#include <QEventLoop>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QHostAddress>
#include <QProcess>
#include <QRegularExpression>
#include <QTcpSocket>
#include <QTimer>
#include <QUrl>

namespace QuorvelEmulatorTest {
namespace {

struct Answer
{
    int status = 0;
    QJsonObject object;
};

Answer postForm(QNetworkAccessManager& network, const QString& url, const QByteArray& form)
{
    QNetworkRequest request{QUrl(url)};
    request.setHeader(QNetworkRequest::ContentTypeHeader, "application/x-www-form-urlencoded");
    QNetworkReply* reply = network.post(request, form);
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    QTimer::singleShot(kWatchdogMs, &loop, &QEventLoop::quit);
    if (!reply->isFinished())
        loop.exec();
    Answer answer;
    if (reply->isFinished()) {
        answer.status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
        answer.object = QJsonDocument::fromJson(reply->readAll()).object();
    } else {
        reply->abort();
    }
    reply->deleteLater();
    return answer;
}

// Waits for the started emulator's first line and returns the address it
// announces there, or an empty string; `out` keeps what it printed.
QString announcedBase(QProcess& emulator, QByteArray& out)
{
    while (!out.contains('\n') && emulator.waitForReadyRead(kWatchdogMs))
        out += emulator.readAllStandardOutput();
    return QRegularExpression(QStringLiteral("listening on (http://127\\.0\\.0\\.1:\\d+)\n"))
        .match(QString::fromUtf8(out))
        .captured(1);
}

TEST(EmulatorProcess, PrintsItsAddressServesAndStopsCleanlyOnSigterm)
{
    QProcess emulator;
    emulator.setProgram(QStringLiteral(QUORVEL_EMULATOR_BINARY));
    emulator.setArguments({"--port", "0", "--client-id", "proc", "--client-secret", "pw", "--token-lifetime",
                           "42", "--fault", R"({"kind":"status","status":503,"target":"token"})"});
    emulator.start();
    ASSERT_TRUE(emulator.waitForStarted(kWatchdogMs)) << emulator.errorString().toStdString();

    QByteArray out;
    while (!out.contains('\n') && emulator.waitForReadyRead(kWatchdogMs))
        out += emulator.readAllStandardOutput();
    const auto match = QRegularExpression(QStringLiteral("^listening on http://127\\.0\\.0\\.1:(\\d+)\n$"))
                           .match(QString::fromUtf8(out));
    ASSERT_TRUE(match.hasMatch()) << out.toStdString() << emulator.readAllStandardError().toStdString();
    const QString base = QStringLiteral("http://127.0.0.1:") + match.captured(1);

    QNetworkAccessManager network;
    network.setProxy(QNetworkProxy::NoProxy);
    const QByteArray form = "grant_type=client_credentials&client_id=proc&client_secret=pw";
    const Answer down = postForm(network, base + QStringLiteral("/oauth/token"), form);
    const Answer issued = postForm(network, base + QStringLiteral("/oauth/token"), form);
    EXPECT_EQ(down.status, 503);
    EXPECT_EQ(issued.status, 200);
    EXPECT_EQ(issued.object.value(QLatin1String("expires_in")).toInteger(), 42);

    emulator.terminate();
    ASSERT_TRUE(emulator.waitForFinished(kWatchdogMs));
    EXPECT_EQ(emulator.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(emulator.exitCode(), 0);
    EXPECT_TRUE(emulator.readAllStandardOutput().isEmpty());
}

TEST(EmulatorProcess, RequestLoggingNeverShowsCredentials)
{
    QProcess emulator;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("QT_LOGGING_RULES"), QStringLiteral("*=true"));
    emulator.setProcessEnvironment(env);
    emulator.setProgram(QStringLiteral(QUORVEL_EMULATOR_BINARY));
    emulator.setArguments({"--port", "0", "--client-id", "logged", "--client-secret", "never-logged-pw"});
    emulator.start();
    ASSERT_TRUE(emulator.waitForStarted(kWatchdogMs)) << emulator.errorString().toStdString();
    QByteArray out;
    const QString base = announcedBase(emulator, out);
    ASSERT_FALSE(base.isEmpty()) << out.toStdString();

    QNetworkAccessManager network;
    network.setProxy(QNetworkProxy::NoProxy);
    const Answer issued =
        postForm(network, base + QStringLiteral("/oauth/token"),
                 "grant_type=client_credentials&client_id=logged&client_secret=never-logged-pw");
    const QByteArray token = issued.object.value(QLatin1String("access_token")).toString().toLatin1();
    ASSERT_FALSE(token.isEmpty());
    // The client's credentials as Basic authentication, and the token as a
    // bearer: both are headers, which Qt's request log prints.
    QNetworkRequest basic{QUrl(base + QStringLiteral("/oauth/token"))};
    basic.setRawHeader("Authorization", "Basic " + QByteArray("logged:never-logged-pw").toBase64());
    basic.setHeader(QNetworkRequest::ContentTypeHeader, "application/x-www-form-urlencoded");
    QNetworkRequest bearer{
        QUrl(base + QStringLiteral("/api/business/quorvel/demo/v0/entities/query/vector"))};
    bearer.setRawHeader("Authorization", "Bearer " + token);
    bearer.setHeader(QNetworkRequest::ContentTypeHeader, "application/json");
    for (QNetworkReply* reply : {network.post(basic, QByteArray("grant_type=client_credentials")),
                                 network.post(bearer, kDutyChannelQuery)}) {
        QEventLoop loop;
        QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
        QTimer::singleShot(kWatchdogMs, &loop, &QEventLoop::quit);
        if (!reply->isFinished())
            loop.exec();
        EXPECT_EQ(reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(), 200);
        delete reply;
    }

    emulator.terminate();
    ASSERT_TRUE(emulator.waitForFinished(kWatchdogMs));
    const QByteArray log = out + emulator.readAllStandardOutput() + emulator.readAllStandardError();
    // The requests were logged, with their credentials cut out.
    EXPECT_TRUE(log.contains("qt.httpserver")) << log.toStdString();
    EXPECT_EQ(log.count("Bearer <redacted>"), 1) << log.toStdString();
    EXPECT_EQ(log.count("Basic <redacted>"), 1) << log.toStdString();
    EXPECT_FALSE(log.contains(token));
    EXPECT_FALSE(log.contains(QByteArray("logged:never-logged-pw").toBase64()));
    EXPECT_FALSE(log.contains("never-logged-pw"));
}

TEST(EmulatorProcess, StopsCleanlyOnSigtermWhileFloodingAClient)
{
    QProcess emulator;
    emulator.start(QStringLiteral(QUORVEL_EMULATOR_BINARY),
                   {"--port", "0", "--fault", R"({"kind":"flood","target":"token"})"});
    QByteArray out;
    const QString base = announcedBase(emulator, out);
    ASSERT_FALSE(base.isEmpty()) << out.toStdString();

    // The emulator is another process: blocking on this socket holds up nothing.
    QTcpSocket client;
    client.connectToHost(QHostAddress(QHostAddress::LocalHost), QUrl(base).port());
    ASSERT_TRUE(client.waitForConnected(kWatchdogMs));
    client.write("POST /oauth/token HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Length: 1\r\n\r\nx");
    qint64 received = 0;
    while (received < 1024 * 1024 && client.waitForReadyRead(kWatchdogMs))
        received += client.readAll().size();
    ASSERT_GE(received, 1024 * 1024);

    emulator.terminate();
    ASSERT_TRUE(emulator.waitForFinished(kWatchdogMs));
    EXPECT_EQ(emulator.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(emulator.exitCode(), 0);
    EXPECT_TRUE(emulator.readAllStandardError().isEmpty());
}

TEST(EmulatorProcess, RefusesToStartOnBadArgumentsOrData)
{
    const QList<QStringList> bad{
        {"--port", "70000"},
        {"--data", "/nonexistent/emulator-data"},
    };
    for (const QStringList& arguments : bad) {
        QProcess emulator;
        emulator.start(QStringLiteral(QUORVEL_EMULATOR_BINARY), arguments);
        ASSERT_TRUE(emulator.waitForFinished(kWatchdogMs)) << arguments.join(' ').toStdString();
        EXPECT_NE(emulator.exitCode(), 0);
        EXPECT_TRUE(emulator.readAllStandardOutput().isEmpty());
        EXPECT_TRUE(emulator.readAllStandardError().startsWith("quorvel-emulator: "));
    }
}

} // namespace
} // namespace QuorvelEmulatorTest
