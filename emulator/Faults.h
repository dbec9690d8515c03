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

struct FaultKind;

enum class FaultTarget
{
    Query,
    Token
};

// Misbehaviour queued by a test and applied to the next requests of its
// target, described in JSON, the same from the admin endpoint and from the
// command line. The language is in fault-language.txt, which `--help`
// prints; what each kind does and takes is in FaultKinds.cpp.
struct Fault
{
    const FaultKind* kind = nullptr;
    FaultTarget target = FaultTarget::Query;
    int times = 1;
    int after = 0;
    int delayMs = 0;
    std::optional<QByteArray> retryAfter;
    std::optional<QByteArray> location;
    int status = 200; // what "nonjson" sends unless told otherwise
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

struct PlannedReply
{
    HttpReply reply;
    Delivery delivery;
};

// What the client gets instead of `normal`. A kind that acts before the
// request is answered (FaultRelation::Precedes) has done so in the server.
PlannedReply applyFault(const Fault& fault, HttpReply normal);

} // namespace QuorvelEmulator
