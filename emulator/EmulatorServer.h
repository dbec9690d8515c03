#pragma once

#include "DataStore.h"
#include "FaultQueue.h"
#include "Faults.h"
#include "HttpReply.h"
#include "TokenEndpoint.h"
#include "TokenStore.h"

#include <QAbstractHttpServer>
#include <QString>

#include <functional>

class QHttpServerRequest;
class QTcpSocket;

namespace QuorvelEmulator {

struct EmulatorStats
{
    qint64 queries = 0;
    qint64 tokens = 0;
    // Streamed fault replies still being written: none once their clients
    // have hung up, which is how a test sees that a client gave up.
    qint64 streams = 0;
    // Queries answered for a valid token, by the client it was issued to.
    QHash<QString, qint64> queriesByClient;
};

// The emulated business-entity service on one loopback port:
//
//   POST   /oauth/token                                              client credentials
//   POST   /api/business/quorvel/{businessId}/v0/entities/query/vector  the entities query
//   POST   /_emulator/faults     queue faults      GET  lists them   DELETE  clears them
//   POST   /_emulator/expire-tokens
//   GET    /_emulator/stats      {"queries": N, "tokens": N, "streams": N,
//                                 "queriesByClient": {"<client id>": N, ...}}
//   GET    /_emulator/tokens     {"tokens": [...]}, every access token issued
//                                and still remembered (expired ones too)
//   POST   /_emulator/reset      clears faults and counters
//
// Requests are answered on the thread that owns the server; delayed
// replies wait on timers, so one slow reply never holds up another.
class EmulatorServer : public QAbstractHttpServer
{
public:
    EmulatorServer(DataStore data, TokenSettings tokenSettings, TokenStore::Clock clock = {},
                   QObject* parent = nullptr);

    // Binds 127.0.0.1 only; 0 picks a free port. Returns the port, 0 on failure.
    quint16 start(quint16 port = 0);
    // The admin endpoints answer only a request for a loopback host (not a
    // name a web page in a browser could point here) that carries this key
    // in "X-Emulator-Admin-Key".
    void setAdminKey(QByteArray key) { m_adminKey = std::move(key); }
    quint16 port() const { return m_port; }

    FaultQueue& faults() { return m_faults; }
    TokenStore& tokens() { return m_tokens; }
    EmulatorStats stats() const;

protected:
    bool handleRequest(const QHttpServerRequest& request, QTcpSocket* socket) override;
    void missingHandler(const QHttpServerRequest& request, QTcpSocket* socket) override;

private:
    PlannedReply handleToken(const QHttpServerRequest& request);
    PlannedReply handleQuery(const QHttpServerRequest& request, const QString& businessId);
    // `answer` as the next fault queued for `target` has it.
    PlannedReply answerWithFault(FaultTarget target, const QHttpServerRequest& request,
                                 const std::function<HttpReply()>& answer);
    HttpReply answerQuery(const QHttpServerRequest& request, const QString& businessId);
    HttpReply handleAdmin(const QHttpServerRequest& request, const QString& path);

    DataStore m_data;
    TokenSettings m_tokenSettings;
    TokenStore m_tokens;
    FaultQueue m_faults;
    EmulatorStats m_stats;
    quint16 m_port = 0;
    QByteArray m_adminKey;
};

} // namespace QuorvelEmulator
