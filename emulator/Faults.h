#pragma once

#include "HttpReply.h"
#include "ReplyWriter.h"

#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QString>

#include <expected>
#include <optional>

namespace QuorvelEmulator {

// Misbehaviour queued by a test and applied to the next requests of its
// target. A fault is described in JSON, the same from the admin endpoint
// and from the command line:
//
//   kind         status | delay | stall | nonjson | object | expire | close |
//                truncate | large | nested | invalidutf8 | title | flood |
//                headers | headerline
//   target       "query" (default) or "token"; object, expire, large,
//                nested, invalidutf8 and title are for queries only
//   times        requests it applies to (default 1; -1 = until cleared)
//   after        requests to its target that pass untouched before it
//                applies (default 0); how a test lets a sign-in through
//                and breaks the token renewal that follows
//   delayMs      wait before the reply starts (for "stall": the pause in the
//                middle of the body); the reply itself is worked out when
//                the request arrives, so a token cannot expire in between
//   retryAfter   adds a Retry-After header, verbatim, to whatever is sent
//   location     "status" only: adds a Location header, verbatim; with a 3xx
//                status, a redirect (to another origin, say):
//                {"kind":"status","status":307,"location":"http://127.0.0.2:8/x"}
//   status       "status": required; "nonjson": default 200
//   body, contentType   "status" and "nonjson": the body sent instead
//   body         "title": required, the title text
//   bytes        close/truncate/stall: body bytes sent before the cut
//                (default half); large: minimum body size;
//                status/nonjson, only with a body: the body repeated and cut
//                to exactly this size, even in the middle of a character;
//                title: the text repeated and cut to at most this size, at
//                a character boundary so that it stays valid UTF-8 (below
//                16 MiB, as the reply carries it several times);
//                flood: the Content-Length, all of it sent;
//                headerline: filler bytes sent before falling silent
//   count        large: number of entities; headers: extra headers (default
//                100, at most 100000)
//   depth        nested: array nesting depth (default 100000)
//
// The hostile kinds, for proving a client is neither crashed, frozen nor
// exhausted by what a service sends:
//
//   title        a successful query reply in which every locale's "display"
//                and "value" of the TICKET_TITLE attribute is `body`, escaped
//                as JSON needs: {"kind":"title","body":"<img src=\"x\">"},
//                {"kind":"title","body":"A","bytes":1048576}
//   flood        200, application/json, "[" and then "0,0,..." streamed as
//                the client reads: with `bytes`, exactly that many under a
//                Content-Length; without, chunked and endless, until the
//                client hangs up or 4 GiB have gone, then the connection is
//                closed: {"kind":"flood"}, {"kind":"flood","bytes":3145728}
//   headers      the normal reply plus headers "X-Filler-1: 1" ...
//                "X-Filler-<count>: <count>": {"kind":"headers","count":5000}
//   headerline   "HTTP/1.1 200 OK" and a header line "X-Endless: xxx..." that
//                never ends, streamed like a flood; with `bytes`, the
//                connection stays open and silent after that much filler:
//                {"kind":"headerline"}, {"kind":"headerline","bytes":1000000}
//
// A server that accepts the connection and never answers is a delay:
// {"kind":"delay","delayMs":600000}.
//
// Kinds that reshape a successful reply (object, large, invalidutf8, title)
// leave an error reply alone; the fault is used up all the same, as the
// request happened.
enum class FaultKind {
    Status,
    Delay,
    Stall,
    NonJson,
    Object,
    ExpireToken,
    Close,
    Truncate,
    Large,
    Nested,
    InvalidUtf8,
    Title,
    Flood,
    Headers,
    HeaderLine,
};

enum class FaultTarget { Query, Token };

struct Fault
{
    FaultKind kind = FaultKind::Status;
    FaultTarget target = FaultTarget::Query;
    int times = 1;
    int after = 0;
    int delayMs = 0;
    std::optional<QByteArray> retryAfter;
    std::optional<QByteArray> location;
    int status = 0;
    std::optional<QByteArray> body;
    QByteArray contentType;
    std::optional<qint64> bytes;
    std::optional<qint64> count;
    qint64 depth = 100000;

    static std::expected<Fault, QString> fromJson(const QJsonObject& object);
    // One fault object or an array of them, in queue order.
    static std::expected<QList<Fault>, QString> listFromJson(const QByteArray& json);
    QJsonObject toJson() const;
};

class FaultQueue
{
public:
    void push(Fault fault);
    void clear();
    // The fault for the next request to `target`, used up by the call. The
    // first fault queued for `target` decides: while it is still letting
    // requests pass ("after"), the request gets no fault at all, even if a
    // later fault for the same target is ready.
    std::optional<Fault> next(FaultTarget target);
    QJsonArray pending() const;
    qsizetype size() const { return m_faults.size(); }

private:
    QList<Fault> m_faults;
};

struct PlannedReply
{
    HttpReply reply;
    Delivery delivery;
};

// What the client gets instead of `normal`. ExpireToken changes nothing
// here: its effect (the caller's token expired before the request is
// checked) happens in the server.
PlannedReply applyFault(const Fault& fault, HttpReply normal);

} // namespace QuorvelEmulator
