#pragma once

#include <QMutex>
#include <QObject>
#include <QSet>

#include "sdk/qt/PendingHttpRequest.h"

class QNetworkAccessManager;
class QNetworkReply;
class QThread;

namespace QuorvelSdk {

class HttpBodyDevice;

// Runs every HTTP exchange on one thread of its own ("QuorvelSdk-Net"), where
// Qt's network access manager lives, and hands each result back to the
// thread that asked for it. Senders block without a time limit; destroying
// the service aborts what is in flight and wakes every sender with 5 (Qt's
// "operation cancelled").
class QtHttpNetworkService : public QObject
{
public:
    // Lives on the network thread and does all of the network work there.
    class Worker : public QObject
    {
    public:
        void perform(PendingHttpRequest* pending);
        void finishRequest(QNetworkReply* reply, HttpBodyDevice* device,
                           PendingHttpRequest* pending);
        // Aborts every active reply and returns once all have finished.
        void shutdown();

    private:
        QNetworkAccessManager* manager = nullptr;
        QSet<QNetworkReply*> active_replies;
    };

    explicit QtHttpNetworkService(QObject* parent = nullptr);
    // Shuts down (if not yet done), then stops the thread.
    ~QtHttpNetworkService() override;

    // Refuses new exchanges (they fail at once with 5) and aborts those in
    // flight, waking their senders with 5. The thread keeps running until
    // destruction. Calling it again does nothing more.
    void shutdown();

    // Sends one exchange and blocks until it is over; returns 0 when a reply
    // was obtained (whatever its status), else Qt's network error number. Must
    // not be called on the network thread, which would wait for itself.
    qint32 execute(PendingHttpRequest& pending);

    QThread* networkThread() const { return m_thread; }
    // True once destruction has begun; new exchanges then fail at once.
    bool isShuttingDown() const;

private:
    QThread* m_thread;
    Worker* worker;
    mutable QMutex mutex;
    bool shutting_down = false;
};

} // namespace QuorvelSdk
