#pragma once

#include <chrono>
#include <optional>
#include <ostream>

#include <QEventLoop>
#include <QFuture>
#include <QFutureWatcher>
#include <QPromise>
#include <QString>
#include <QThread>
#include <QTimer>

#include <gtest/gtest.h>

#include "chat/ChatKind.h"
#include "chat/ErrorKind.h"
#include "chat/IChatBackend.h"
#include "chat/Result.h"
#include "support/qt/OffThread.h"

// Readable failure output: gtest would otherwise print QString as raw bytes.
inline void PrintTo(const QString& text, std::ostream* out)
{
    *out << '"' << text.toStdString() << '"';
}

namespace QuorvelChat {

inline void PrintTo(ErrorKind kind, std::ostream* out)
{
    *out << errorKindText(kind).toStdString() << " (" << qint32(kind) << ")";
}

inline void PrintTo(ChatKind kind, std::ostream* out)
{
    *out << chatKindText(kind).toStdString() << " (" << qint32(kind) << ")";
}

inline void PrintTo(const Error& error, std::ostream* out)
{
    *out << "{";
    PrintTo(error.kind, out);
    *out << ", \"" << error.message.toStdString() << "\", " << error.httpCode << "}";
}

} // namespace QuorvelChat

namespace QuorvelChatTest {

using QuorvelTest::kWatchdog;

// What the service must receive for the duty channel in EN_US, byte for byte.
inline constexpr const char* kDutyChannelQueryBody =
    R"({"entitiesByEntityTypesWithInheritance":false,)"
    R"("entitiesByAttributeValues":[{"attributeKey":"IS_DEFAULT_CHANNEL","operator":"Equals",)"
    R"("value":"TRUE","ignoreCase":true,"locales":["EN_US"]}],)"
    R"("entitiesByEntityTypeKeys":["BUSINESS_TICKET"],)"
    R"("entitiesOptions":{"includeAttributeValuesByAttributeKeys":["TICKET_TITLE"],)"
    R"("includeLocales":["EN_US"],"includeReferences":true,"includeEntityState":true}})";

// Waits, serving events, until `future` has finished; false on the watchdog.
template <class T>
bool awaitFinished(const QFuture<T>& future, std::chrono::milliseconds limit = kWatchdog)
{
    if (!future.isFinished()) {
        QFutureWatcher<T> watcher;
        QEventLoop loop;
        QObject::connect(&watcher, &QFutureWatcherBase::finished, &loop, &QEventLoop::quit);
        QTimer::singleShot(limit, &loop, &QEventLoop::quit);
        watcher.setFuture(future);
        if (!future.isFinished())
            loop.exec();
    }
    return future.isFinished();
}

// Waits for `future` while this thread keeps serving its events (a loopback
// server may live here). Empty, with a test failure, when the watchdog fires.
template <class T>
std::optional<T> awaitResult(const QFuture<T>& future, std::chrono::milliseconds limit = kWatchdog)
{
    if (!awaitFinished(future, limit)) {
        ADD_FAILURE() << "watchdog: future did not finish within " << limit.count() << " ms";
        return std::nullopt;
    }
    if (future.resultCount() != 1) {
        ADD_FAILURE() << "future finished with " << future.resultCount() << " results";
        return std::nullopt;
    }
    return future.result();
}

// The error a chat future finished with; empty (and a test failure) when it
// carried a value or never finished.
template <class T>
std::optional<QuorvelChat::Error> awaitError(const QFuture<QuorvelChat::Result<T>>& future)
{
    const auto result = awaitResult(future);
    if (!result)
        return std::nullopt;
    if (result->hasValue()) {
        ADD_FAILURE() << "expected an error, got a value";
        return std::nullopt;
    }
    return result->error();
}

// Waits, serving events, until `thread` has finished; false on the watchdog.
inline bool awaitThread(QThread& thread, std::chrono::milliseconds limit = kWatchdog)
{
    if (!thread.isFinished()) {
        QEventLoop loop;
        QObject::connect(&thread, &QThread::finished, &loop, &QEventLoop::quit);
        QTimer::singleShot(limit, &loop, &QEventLoop::quit);
        if (!thread.isFinished())
            loop.exec();
    }
    return thread.isFinished();
}

template <class T>
QFuture<T> readyFuture(T value)
{
    QPromise<T> promise;
    promise.start();
    promise.addResult(std::move(value));
    promise.finish();
    return promise.future();
}

inline int watchdogMs()
{
    return int(kWatchdog.count());
}

// A back end for tests of what sits above it: only resolveChat() matters;
// the operations that are not built hand back empty futures.
class ResolveOnlyBackend : public QuorvelChat::IChatBackend
{
public:
    QFuture<QuorvelChat::Result<QuorvelChat::MessagesPage>>
    listMessages(const QuorvelChat::ListMessagesRequest&) override
    {
        return {};
    }
    QFuture<QuorvelChat::Result<QuorvelChat::Message>>
    postMessage(const QuorvelChat::MessageDraftRequest&) override
    {
        return {};
    }
    QFuture<QuorvelChat::Result<QuorvelChat::Message>> patchMessage(const QuorvelChat::Message&) override
    {
        return {};
    }
    QFuture<QuorvelChat::Result<QuorvelChat::Unit>> deleteMessage(const QUuid&) override { return {}; }
    QFuture<QuorvelChat::Result<QuorvelChat::Attachment>>
    uploadAttachment(const QuorvelChat::AttachmentUploadRequest&) override
    {
        return {};
    }
    QFuture<QuorvelChat::Result<QuorvelChat::Attachment>>
    downloadAttachment(const QuorvelChat::AttachmentDownloadRequest&) override
    {
        return {};
    }
    QFuture<QuorvelChat::Result<QuorvelChat::Draft>> saveDraft(const QuorvelChat::DraftSaveRequest&) override
    {
        return {};
    }
};

} // namespace QuorvelChatTest
