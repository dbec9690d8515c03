#include "EmulatorHarness.h"
#include "EmulatorProcess.h"

#include <gtest/gtest.h>

#include <QEventLoop>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QHostAddress>
#include <QProcess>
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

TEST(EmulatorProcess, PrintsItsAddressServesAndStopsCleanlyOnSigterm)
{
    QuorvelEmulator::EmulatorProcess emulator(QStringLiteral(QUORVEL_EMULATOR_BIN));
    ASSERT_TRUE(emulator.start({"--client-id", "proc", "--client-secret", "pw", "--token-lifetime", "42",
                                "--fault", R"({"kind":"status","status":503,"target":"token"})"},
                               kWatchdogMs))
        << emulator.error().toStdString();
    // One line, exactly, which scripts read the address from.
    EXPECT_EQ(emulator.output(), QStringLiteral("listening on %1\n").arg(emulator.baseUrl()).toUtf8());
    const QString base = emulator.baseUrl();

    QNetworkAccessManager network;
    network.setProxy(QNetworkProxy::NoProxy);
    const QByteArray form = "grant_type=client_credentials&client_id=proc&client_secret=pw";
    const Answer down = postForm(network, base + QStringLiteral("/oauth/token"), form);
    const Answer issued = postForm(network, base + QStringLiteral("/oauth/token"), form);
    EXPECT_EQ(down.status, 503);
    EXPECT_EQ(issued.status, 200);
    EXPECT_EQ(issued.object.value(QLatin1String("expires_in")).toInteger(), 42);

    const QByteArray announced = emulator.output();
    ASSERT_TRUE(emulator.stop(kWatchdogMs));
    EXPECT_EQ(emulator.process().exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(emulator.process().exitCode(), 0);
    EXPECT_EQ(emulator.output(), announced) << "nothing more on standard output";
}

TEST(EmulatorProcess, RequestLoggingNeverShowsCredentials)
{
    QuorvelEmulator::EmulatorProcess emulator(QStringLiteral(QUORVEL_EMULATOR_BIN));
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("QT_LOGGING_RULES"), QStringLiteral("*=true"));
    emulator.process().setProcessEnvironment(env);
    ASSERT_TRUE(emulator.start({"--client-id", "logged", "--client-secret", "never-logged-pw"}, kWatchdogMs))
        << emulator.error().toStdString();
    const QString base = emulator.baseUrl();

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

    ASSERT_TRUE(emulator.stop(kWatchdogMs));
    const QByteArray log = emulator.output() + emulator.process().readAllStandardError();
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
    QuorvelEmulator::EmulatorProcess emulator(QStringLiteral(QUORVEL_EMULATOR_BIN));
    ASSERT_TRUE(emulator.start({"--fault", R"({"kind":"flood","target":"token"})"}, kWatchdogMs))
        << emulator.error().toStdString();
    const QString base = emulator.baseUrl();

    // The emulator is another process: blocking on this socket holds up nothing.
    QTcpSocket client;
    client.connectToHost(QHostAddress(QHostAddress::LocalHost), QUrl(base).port());
    ASSERT_TRUE(client.waitForConnected(kWatchdogMs));
    client.write("POST /oauth/token HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Length: 1\r\n\r\nx");
    qint64 received = 0;
    while (received < 1024 * 1024 && client.waitForReadyRead(kWatchdogMs))
        received += client.readAll().size();
    ASSERT_GE(received, 1024 * 1024);

    ASSERT_TRUE(emulator.stop(kWatchdogMs));
    EXPECT_EQ(emulator.process().exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(emulator.process().exitCode(), 0);
    EXPECT_TRUE(emulator.process().readAllStandardError().isEmpty());
}

TEST(EmulatorProcess, RefusesToStartOnBadArgumentsOrData)
{
    const QList<QStringList> bad{
        {"--port", "70000"},
        {"--data", "/nonexistent/emulator-data"},
    };
    for (const QStringList& arguments : bad) {
        QProcess emulator;
        emulator.start(QStringLiteral(QUORVEL_EMULATOR_BIN), arguments);
        ASSERT_TRUE(emulator.waitForFinished(kWatchdogMs)) << arguments.join(' ').toStdString();
        EXPECT_NE(emulator.exitCode(), 0);
        EXPECT_TRUE(emulator.readAllStandardOutput().isEmpty());
        EXPECT_TRUE(emulator.readAllStandardError().startsWith("quorvel-emulator: "));
    }
}

} // namespace
} // namespace QuorvelEmulatorTest
