#include "Faults.h"

#include "FaultKinds.h"
#include "JsonAccess.h"

#include <QJsonDocument>
#include <QSet>

#include <algorithm>
#include <string_view>

namespace QuorvelEmulator {

namespace {

constexpr qint64 kMaxDepth = 1000000;
constexpr qint64 kMaxDelayMs = 600000;

QString knownKinds()
{
    QStringList names;
    for (const FaultKind& kind : faultKinds())
        names.append(QLatin1String(kind.name));
    return names.join(QStringLiteral(", "));
}

// A header value that would break the reply's framing is refused rather
// than sent.
bool isHeaderSafe(const QString& text)
{
    for (QChar c : text) {
        if (c == QLatin1Char('\r') || c == QLatin1Char('\n') || c == QChar(0))
            return false;
    }
    return true;
}

QString notFor(const char* member, const Fault& fault)
{
    return QStringLiteral("fault member '%1' does not apply to kind '%2'")
        .arg(QLatin1String(member), QLatin1String(fault.kind->name));
}

// Reads a member only some kinds take; for the others its mere presence is
// the error, whatever its value.
Read<qint64> readSized(const QJsonObject& object, const char* name, const Fault& fault,
                       const std::optional<FaultRange>& range)
{
    const QString key = QLatin1String(name);
    if (!range) {
        if (member(object, key))
            return std::unexpected(notFor(name, fault));
        return std::optional<qint64>();
    }
    const auto read = readInteger(object, key, key, range->min, range->max);
    if (read && !*read)
        return range->fallback;
    return read;
}

// A kind's needs are checked by the step that reads the first of them,
// after that step's own checks, so that a fault wrong in several ways is
// always refused for the same one.
Step checkNeeds(const QJsonObject& object, const Fault& fault,
                std::initializer_list<std::string_view> members)
{
    const auto& needs = fault.kind->needs;
    if (!needs[0] || std::ranges::find(members, std::string_view(needs[0])) == members.end())
        return {};
    QStringList named;
    for (const char* need : needs) {
        if (!need)
            continue;
        if (member(object, QString::fromLatin1(need)))
            return {};
        named.append(QStringLiteral("'%1'").arg(QLatin1String(need)));
    }
    return refuse(QStringLiteral("fault kind '%1' needs %2")
                      .arg(QLatin1String(fault.kind->name), named.join(QStringLiteral(" or "))));
}

// Reading a fault is a series of steps, each reading its members into the
// fault or saying why it cannot; the first refusal is the answer.
Step checkMembers(const QJsonObject& object, Fault&)
{
    static const QSet<QString> known{
        QStringLiteral("kind"),     QStringLiteral("target"),  QStringLiteral("times"),
        QStringLiteral("after"),    QStringLiteral("delayMs"), QStringLiteral("retryAfter"),
        QStringLiteral("status"),   QStringLiteral("body"),    QStringLiteral("contentType"),
        QStringLiteral("bytes"),    QStringLiteral("count"),   QStringLiteral("depth"),
        QStringLiteral("location"),
    };
    // A misspelt member would otherwise quietly give a different fault.
    for (auto it = object.constBegin(); it != object.constEnd(); ++it) {
        if (!known.contains(it.key()))
            return refuse(QStringLiteral("unknown fault member '%1'").arg(it.key()));
    }
    return {};
}

Step readKind(const QJsonObject& object, Fault& fault)
{
    const auto text = readString(object, u"kind", QStringLiteral("kind"));
    if (!text)
        return refuse(text.error());
    if (!*text)
        return refuse(QStringLiteral("fault 'kind' is required (one of %1)").arg(knownKinds()));
    fault.kind = findFaultKind(**text);
    if (!fault.kind)
        return refuse(QStringLiteral("unknown fault kind '%1' (one of %2)").arg(**text, knownKinds()));
    return {};
}

Step readTarget(const QJsonObject& object, Fault& fault)
{
    const auto target = readString(object, u"target", QStringLiteral("target"));
    if (!target)
        return refuse(target.error());
    if (*target && **target == QLatin1String("token"))
        fault.target = FaultTarget::Token;
    else if (*target && **target != QLatin1String("query"))
        return refuse(QStringLiteral("fault 'target' must be \"query\" or \"token\""));
    if (!fault.kind->appliesTo(fault.target)) {
        return refuse(QStringLiteral("fault kind '%1' does not apply to the %2 endpoint")
                          .arg(QLatin1String(fault.kind->name), fault.target == FaultTarget::Token
                                                                    ? QLatin1String("token")
                                                                    : QLatin1String("query")));
    }
    return {};
}

Step readCounts(const QJsonObject& object, Fault& fault)
{
    const auto times = readInteger(object, u"times", QStringLiteral("times"), -1, 1000000);
    if (!times)
        return refuse(times.error());
    if (*times) {
        if (**times == 0)
            return refuse(QStringLiteral("fault 'times' must be -1 or at least 1"));
        fault.times = int(**times);
    }
    const auto after = readInteger(object, u"after", QStringLiteral("after"), 0, 1000000);
    if (!after)
        return refuse(after.error());
    fault.after = int(after->value_or(0));
    return {};
}

Step readDelay(const QJsonObject& object, Fault& fault)
{
    const auto delay = readInteger(object, u"delayMs", QStringLiteral("delayMs"), 0, kMaxDelayMs);
    if (!delay)
        return refuse(delay.error());
    fault.delayMs = int(delay->value_or(0));
    return checkNeeds(object, fault, {"delayMs"});
}

// A text member copied verbatim into a header of the reply.
Step readHeaderText(const QJsonObject& object, const char* name, std::optional<QByteArray>& into)
{
    const QString key = QLatin1String(name);
    const auto text = readString(object, key, key);
    if (!text)
        return refuse(text.error());
    if (*text && !isHeaderSafe(**text))
        return refuse(QStringLiteral("fault '%1' must not contain line breaks").arg(key));
    if (*text)
        into = (*text)->toUtf8();
    return {};
}

Step readHeaders(const QJsonObject& object, Fault& fault)
{
    if (const Step read = readHeaderText(object, "retryAfter", fault.retryAfter); !read)
        return read;
    if (const Step read = readHeaderText(object, "location", fault.location); !read)
        return read;
    if (fault.location && !fault.kind->takes.location)
        return refuse(notFor("location", fault));
    return {};
}

Step readStatus(const QJsonObject& object, Fault& fault)
{
    const auto status = readInteger(object, u"status", QStringLiteral("status"), 200, 599);
    if (!status)
        return refuse(status.error());
    if (*status && !fault.kind->takes.status)
        return refuse(notFor("status", fault));
    if (*status)
        fault.status = int(**status);
    return checkNeeds(object, fault, {"status"});
}

Step readBody(const QJsonObject& object, Fault& fault)
{
    const auto body = readString(object, u"body", QStringLiteral("body"));
    if (!body)
        return refuse(body.error());
    const auto contentType = readString(object, u"contentType", QStringLiteral("contentType"));
    if (!contentType)
        return refuse(contentType.error());
    if (*body && !fault.kind->takes.body)
        return refuse(notFor("body", fault));
    if (*contentType && !fault.kind->takes.contentType)
        return refuse(notFor("contentType", fault));
    if (const Step needs = checkNeeds(object, fault, {"body", "contentType"}); !needs)
        return needs;
    if (*contentType && !isHeaderSafe(**contentType))
        return refuse(QStringLiteral("fault 'contentType' must not contain line breaks"));
    if (*body)
        fault.body = (*body)->toUtf8();
    if (*contentType)
        fault.contentType = (*contentType)->toUtf8();
    return {};
}

Step readSizes(const QJsonObject& object, Fault& fault)
{
    const FaultMembers& takes = fault.kind->takes;
    const auto bytes = readSized(object, "bytes", fault, takes.bytes);
    if (!bytes)
        return refuse(bytes.error());
    fault.bytes = *bytes;
    // A kind that takes both stretches its body to `bytes`.
    if (fault.bytes && takes.body && !fault.body)
        return refuse(QStringLiteral("fault 'bytes' needs a 'body' to repeat"));
    // Repeating nothing never reaches a size.
    if (fault.bytes && takes.body && fault.body->isEmpty())
        return refuse(QStringLiteral("fault 'bytes' cannot repeat an empty 'body'"));

    const auto count = readSized(object, "count", fault, takes.count);
    if (!count)
        return refuse(count.error());
    fault.count = *count;
    return checkNeeds(object, fault, {"bytes", "count"});
}

Step readDepth(const QJsonObject& object, Fault& fault)
{
    const auto depth = readInteger(object, u"depth", QStringLiteral("depth"), 1, kMaxDepth);
    if (!depth)
        return refuse(depth.error());
    if (*depth && !fault.kind->takes.depth)
        return refuse(notFor("depth", fault));
    if (*depth)
        fault.depth = **depth;
    return {};
}

} // namespace

std::expected<Fault, QString> Fault::fromJson(const QJsonObject& object)
{
    // In this order: every later step depends on the kind.
    static constexpr Step (*kSteps[])(const QJsonObject&, Fault&) = {
        checkMembers, readKind,   readTarget, readCounts, readDelay,
        readHeaders,  readStatus, readBody,   readSizes,  readDepth,
    };
    Fault fault;
    for (const auto step : kSteps) {
        if (const Step read = step(object, fault); !read)
            return std::unexpected(read.error());
    }
    return fault;
}

std::expected<QList<Fault>, QString> Fault::listFromJson(const QByteArray& json)
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError) {
        return std::unexpected(QStringLiteral("fault is not valid JSON: %1 at offset %2")
                                   .arg(error.errorString())
                                   .arg(error.offset));
    }
    QJsonArray items;
    if (document.isObject())
        items.append(document.object());
    else
        items = document.array();
    if (items.isEmpty())
        return std::unexpected(QStringLiteral("expected a fault object or a non-empty array of them"));

    QList<Fault> faults;
    for (const QJsonValue& item : items) {
        if (!item.isObject())
            return std::unexpected(QStringLiteral("every fault must be a JSON object"));
        auto fault = fromJson(item.toObject());
        if (!fault)
            return std::unexpected(fault.error());
        faults.append(std::move(*fault));
    }
    return faults;
}

QJsonObject Fault::toJson() const
{
    QJsonObject object{
        {QStringLiteral("kind"), QLatin1String(kind->name)},
        {QStringLiteral("target"),
         target == FaultTarget::Token ? QStringLiteral("token") : QStringLiteral("query")},
        {QStringLiteral("times"), times},
    };
    if (after > 0)
        object.insert(QStringLiteral("after"), after);
    if (delayMs > 0)
        object.insert(QStringLiteral("delayMs"), delayMs);
    if (retryAfter)
        object.insert(QStringLiteral("retryAfter"), QString::fromUtf8(*retryAfter));
    if (location)
        object.insert(QStringLiteral("location"), QString::fromUtf8(*location));
    if (kind->takes.status)
        object.insert(QStringLiteral("status"), status);
    if (body)
        object.insert(QStringLiteral("body"), QString::fromUtf8(*body));
    if (!contentType.isEmpty())
        object.insert(QStringLiteral("contentType"), QString::fromUtf8(contentType));
    if (bytes)
        object.insert(QStringLiteral("bytes"), *bytes);
    if (count)
        object.insert(QStringLiteral("count"), *count);
    if (kind->takes.depth)
        object.insert(QStringLiteral("depth"), depth);
    return object;
}

PlannedReply applyFault(const Fault& fault, HttpReply normal)
{
    const bool succeeded = normal.status >= 200 && normal.status < 300;
    PlannedReply planned{std::move(normal), {}};
    planned.delivery.delayMs = fault.delayMs;
    if (fault.kind->relation != FaultRelation::Reshapes || succeeded)
        planned = fault.kind->effect(fault, std::move(planned));
    if (fault.retryAfter)
        planned.reply.setHeader("Retry-After", *fault.retryAfter);
    if (fault.location)
        planned.reply.setHeader("Location", *fault.location);
    return planned;
}

} // namespace QuorvelEmulator
