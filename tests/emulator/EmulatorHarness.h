#pragma once

#include "DataStore.h"
#include "EmulatorServer.h"
#include "TokenEndpoint.h"

#include <QByteArray>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QList>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QPair>
#include <QString>

#include <memory>

namespace QuorvelEmulatorTest {

using Headers = QList<QPair<QByteArray, QByteArray>>;

// Every wait in these tests ends by this, reply or not.
constexpr int kWatchdogMs = 10000;

// The shipped data set, the one a bare emulator serves.
QuorvelEmulator::DataStore shippedData();

struct Reply
{
    bool finished = false;
    int status = 0;
    QNetworkReply::NetworkError error = QNetworkReply::NoError;
    QByteArray body;
    Headers headers;

    QByteArray header(const QByteArray& name) const;
    QJsonDocument json() const { return QJsonDocument::fromJson(body); }
    QString message() const { return json().object().value(QLatin1String("message")).toString(); }
};

// What a plain socket saw: for faults whose point is the exact bytes on the
// wire and when they came.
struct RawExchange
{
    QByteArray bytes;
    bool closedByServer = false;
    // (milliseconds since the request was sent, total bytes received so far)
    QList<QPair<qint64, qsizetype>> arrivals;

    QByteArray head() const;
    QByteArray body() const;
    qint64 contentLength() const;
};

// An emulator on 127.0.0.1, a free port, in this process, with a clock the
// test moves by hand, and a client to talk to it.
class EmulatorHarness
{
public:
    explicit EmulatorHarness(QuorvelEmulator::DataStore data = shippedData(),
                             QuorvelEmulator::TokenSettings settings = {});
    ~EmulatorHarness();

    QuorvelEmulator::EmulatorServer& server() { return *m_server; }
    quint16 port() const { return m_server->port(); }
    QString url(const QString& pathAndQuery) const;
    void advanceClock(qint64 ms) { *m_now += ms; }

    // Starts a request; the reply is the caller's to wait for and delete.
    QNetworkReply* start(const QByteArray& verb, const QString& pathAndQuery, const QByteArray& body = {},
                         const Headers& headers = {});
    Reply wait(QNetworkReply* reply, int timeoutMs = kWatchdogMs);
    Reply send(const QByteArray& verb, const QString& pathAndQuery, const QByteArray& body = {},
               const Headers& headers = {});

    Reply requestToken(const QByteArray& form, const Headers& headers = {});
    // A fresh valid token for the default demo client; fails the test if none.
    QByteArray token();
    Reply query(const QString& businessId, const QByteArray& body, const QByteArray& token,
                const QString& queryString = QStringLiteral("?Skip=0&Take=1"));
    QNetworkReply* startQuery(const QString& businessId, const QByteArray& body, const QByteArray& token,
                              const QString& queryString = QStringLiteral("?Skip=0&Take=1"));
    Reply addFault(const QByteArray& json);

    // Writes `request` on a new connection and collects everything until the
    // server closes it or `quietMs` pass without a byte, or, for a reply that
    // never ends, until `hangUpAt` bytes have come; then it hangs up.
    RawExchange raw(const QByteArray& request, int quietMs = 1500, qsizetype hangUpAt = -1);
    QByteArray rawQueryRequest(const QString& businessId, const QByteArray& body, const QByteArray& token);

private:
    std::shared_ptr<qint64> m_now;
    std::unique_ptr<QuorvelEmulator::EmulatorServer> m_server;
    std::unique_ptr<QNetworkAccessManager> m_network;
};

// The query the product sends for its duty channel, byte for byte.
extern const QByteArray kDutyChannelQuery;

} // namespace QuorvelEmulatorTest
