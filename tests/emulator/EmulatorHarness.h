#pragma once

#include "EmulatorServer.h"

#include <QByteArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QList>
#include <QNetworkAccessManager>
#include <QPair>
#include <QString>

#include <memory>

namespace QuorvelEmulatorTest {

using Headers = QList<QPair<QByteArray, QByteArray>>;

extern const QByteArray kAdminKey; // sent with every admin request

struct Reply
{
    int status = 0; // 0 when none came within the watchdog
    QByteArray body;
    Headers headers;

    QByteArray header(const QByteArray& name) const;
    QJsonDocument json() const { return QJsonDocument::fromJson(body); }
    QString message() const { return json().object().value(QLatin1String("message")).toString(); }
};

// An emulator serving the shipped data on 127.0.0.1, a free port, in this
// process, with a clock the test moves by hand, and a client to talk to it.
class EmulatorHarness
{
public:
    EmulatorHarness();

    QuorvelEmulator::EmulatorServer& server() { return *m_server; }
    void advanceClock(qint64 ms) { *m_now += ms; }

    Reply send(const QByteArray& verb, const QString& path, const QByteArray& body = {},
               const Headers& headers = {});
    // A fresh valid token for the demo client; fails the test if none.
    QByteArray token();
    Reply query(const QByteArray& authorization, const QByteArray& body = "{}",
                const QString& business = QStringLiteral("demo"),
                const QString& paging = QStringLiteral("?Skip=0&Take=1"));

private:
    std::shared_ptr<qint64> m_now = std::make_shared<qint64>(1000000);
    std::unique_ptr<QuorvelEmulator::EmulatorServer> m_server;
    // Declared last, so destroyed first: no reply outlives the server.
    QNetworkAccessManager m_network;
};

} // namespace QuorvelEmulatorTest
