#pragma once

#include <memory>

#include <QHash>
#include <QMutex>
#include <QObject>

#include "sdk/qt/HttpLimits.h"
#include "sdk/qt/PendingHttpRequest.h"

class QNetworkAccessManager;
class QNetworkReply;
class QThread;

namespace QuorvelSdk {

class HttpBodyDevice;
namespace detail {
class TimeLimits;
}

// Runs every HTTP exchange on one thread of its own ("QuorvelSdk-Net"), where
// Qt's network access manager lives, and hands each result back to the
// thread that asked for it. A sender blocks until its exchange is over:
// answered, failed, refused by one of the exchange policies in sdk/qt/detail
// (a bearer token over plain http, an unreadable request body, a redirect,
// the reply size, the time limits; cookies are kept out, never refused), or
// cancelled because the service shuts down, which wakes every sender with
// TransportError::Cancelled.
class QtHttpNetworkService : public QObject
{
public:
    // Lives on the network thread and does all of the network work there.
    class Worker : public QObject
    {
    public:
        Worker();
        ~Worker() override;

        void perform(PendingHttpRequest* pending);
        void finishRequest(QNetworkReply* reply, HttpBodyDevice* device, PendingHttpRequest* pending);
        // Aborts every active reply and returns once all have finished.
        void shutdown();
        // Aborts the active replies whose chain has been cancelled.
        void abortCancelled();

    private:
        // Ends the exchange with `error`, whatever the reply's own state,
        // warning with `why` unless it is empty (a shutdown is no failure).
        void giveUp(QNetworkReply* reply, qint32 error, const QString& why);
        // Calls `handler` with the reply's exchange, and the signal's
        // arguments, for as long as the exchange is active.
        template <typename Signal, typename Handler>
        void onSignal(QNetworkReply* reply, Signal signal, Handler handler);
        void watch(QNetworkReply* reply, HttpBodyDevice* device, PendingHttpRequest* pending);

        QNetworkAccessManager* manager = nullptr;
        // Started and not yet finished, each with the exchange it serves.
        QHash<QNetworkReply*, PendingHttpRequest*> active_replies;
        std::unique_ptr<detail::TimeLimits> timeLimits;
    };

    explicit QtHttpNetworkService(QObject* parent = nullptr);
    // Shuts down (if not yet done), then stops the thread.
    ~QtHttpNetworkService() override;

    // Refuses new exchanges (they fail at once with Cancelled) and aborts
    // those in flight, waking their senders with Cancelled. The thread keeps
    // running until destruction. Calling it again does nothing more.
    void shutdown();

    // Sends one exchange and blocks until it is over; returns 0 when a reply
    // was obtained (whatever its status), else a transport error number
    // (TransportErrors.h, or Qt's own). Must not be called on the network
    // thread, which would wait for itself.
    qint32 execute(PendingHttpRequest& pending);

    // Ends, with Cancelled, the exchanges in flight whose
    // ExchangeCancellation is set; returns at once. Their senders wake as
    // soon as the network thread gets to it.
    void abortCancelled();

    // Applies to exchanges posted from now on.
    void setLimits(const HttpLimits& limits);

private:
    QThread* m_thread;
    Worker* worker;
    mutable QMutex mutex;
    bool shutting_down = false;
    HttpLimits m_limits;
};

} // namespace QuorvelSdk
