#pragma once

#include <atomic>
#include <functional>

#include <QByteArray>
#include <QtGlobal>

class QObject;
class QThread;

namespace QuorvelStress {

class SlowListener;

// A loopback HTTP server on a thread of its own that answers every request
// with the same 200 JSON reply, slowly but surely. It must not share a
// thread with the test: the test's thread blocks while the product shuts
// down, and the shutdown waits for these very replies.
//
// While held, requests are taken in and not answered, so a test knows that
// nothing it started can have finished yet. Once released, every request,
// held or new, is answered `delayMs` after the release or its arrival,
// whichever is later.
class SlowHttpServer
{
public:
    SlowHttpServer(QByteArray replyBody, int delayMs);
    ~SlowHttpServer();
    SlowHttpServer(const SlowHttpServer&) = delete;
    SlowHttpServer& operator=(const SlowHttpServer&) = delete;

    // 0 when it could not listen.
    quint16 port() const { return m_port; }
    QByteArray baseUrl() const;

    void hold();
    void release();
    // For a watchdog: drops every connection and every one that comes later,
    // so that whoever waits for an answer is woken by the hang-up.
    void hangUpAll();

    int received() const { return m_received.load(); }
    int answered() const { return m_answered.load(); }

private:
    friend class SlowListener;

    void runOnServerThread(const std::function<void()>& work);

    QThread* m_thread = nullptr;
    QObject* m_context = nullptr;
    SlowListener* m_listener = nullptr;
    quint16 m_port = 0;
    std::atomic<int> m_received{0};
    std::atomic<int> m_answered{0};
};

} // namespace QuorvelStress
