#pragma once

#include <atomic>
#include <functional>

#include <QSemaphore>
#include <QThread>

#include "support/qt/ScriptedHttpServer.h"

namespace QuorvelStress {

// A scripted loopback server on a thread of its own, which answers every
// duty-channel query of `business` with one ticket. It must not share the
// test's thread, which blocks while the product shuts down.
//
// While held, its thread is blocked: connections and requests wait in the
// kernel and nothing is answered, so nothing the test started can finish
// by the server's doing. Any thread may release it.
class HeldServer
{
public:
    explicit HeldServer(const QString& business)
    {
        m_context.moveToThread(&m_thread);
        m_thread.start();
        onServerThread([this, business] {
            m_server = new QuorvelTest::ScriptedHttpServer;
            m_server->route(QStringLiteral("/api/business/quorvel/%1/v0/entities/query/vector").arg(business),
                            {200,
                             {{"Content-Type", "application/json"}},
                             R"([{"id":"5885e99b-527d-4893-af14-46c61299024e","stateKey":"OPEN",)"
                             R"("attributeValues":[{"attributeKey":"TICKET_TITLE","valueLocales":[)"
                             R"({"key":"EN_US","display":"Support"}]}]}])"});
            m_server->start();
        });
    }

    ~HeldServer()
    {
        release();
        onServerThread([this] { delete m_server; });
        m_thread.quit();
        m_thread.wait();
    }

    QString baseUrl() const { return m_server->baseUrl(); }
    qsizetype received() const { return m_server->received().size(); }

    void hold()
    {
        if (!m_held.exchange(true))
            QMetaObject::invokeMethod(&m_context, [this] { m_gate.acquire(); });
    }

    void release()
    {
        if (m_held.exchange(false))
            m_gate.release();
    }

private:
    void onServerThread(const std::function<void()>& work)
    {
        QMetaObject::invokeMethod(&m_context, work, Qt::BlockingQueuedConnection);
    }

    QThread m_thread;
    QObject m_context;
    QuorvelTest::ScriptedHttpServer* m_server = nullptr;
    QSemaphore m_gate;
    std::atomic<bool> m_held{false};
};

} // namespace QuorvelStress
