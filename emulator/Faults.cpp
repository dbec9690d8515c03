#include "Faults.h"

#include "FaultEffects.h"
#include "JsonAccess.h"

#include <QJsonDocument>
#include <QSet>

#include <array>
#include <climits>
#include <utility>

namespace QuorvelEmulator {

namespace {

constexpr std::array<std::pair<FaultKind, const char*>, 15> kKindNames{{
    {FaultKind::Status, "status"},
    {FaultKind::Delay, "delay"},
    {FaultKind::Stall, "stall"},
    {FaultKind::NonJson, "nonjson"},
    {FaultKind::Object, "object"},
    {FaultKind::ExpireToken, "expire"},
    {FaultKind::Close, "close"},
    {FaultKind::Truncate, "truncate"},
    {FaultKind::Large, "large"},
    {FaultKind::Nested, "nested"},
    {FaultKind::InvalidUtf8, "invalidutf8"},
    {FaultKind::Title, "title"},
    {FaultKind::Flood, "flood"},
    {FaultKind::Headers, "headers"},
    {FaultKind::HeaderLine, "headerline"},
}};

constexpr qint64 kMaxLargeBytes = 256LL * 1024 * 1024;
constexpr qint64 kMaxLargeCount = 1000000;
constexpr qint64 kMaxDepth = 1000000;
constexpr qint64 kMaxDelayMs = 600000;
// The reply repeats a title in every locale's display and value.
constexpr qint64 kMaxTitleBytes = 16LL * 1024 * 1024;
constexpr qint64 kMaxFillerHeaders = 100000;
constexpr qint64 kDefaultFillerHeaders = 100;

struct Range
{
    qint64 min;
    qint64 max;
};

const char* kindName(FaultKind kind)
{
    for (const auto& [k, name] : kKindNames) {
        if (k == kind)
            return name;
    }
    return "?";
}

std::optional<FaultKind> kindFromName(const QString& name)
{
    for (const auto& [kind, text] : kKindNames) {
        if (name == QLatin1String(text))
            return kind;
    }
    return std::nullopt;
}

QString knownKinds()
{
    QStringList names;
    for (const auto& entry : kKindNames)
        names.append(QLatin1String(entry.second));
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

bool isOneOf(FaultKind kind, std::initializer_list<FaultKind> kinds)
{
    for (FaultKind k : kinds) {
        if (k == kind)
            return true;
    }
    return false;
}

QString notFor(const char* member, FaultKind kind)
{
    return QStringLiteral("fault member '%1' does not apply to kind '%2'")
        .arg(QLatin1String(member), QLatin1String(kindName(kind)));
}

std::optional<Range> bytesRange(FaultKind kind)
{
    switch (kind) {
    case FaultKind::Close:
    case FaultKind::Truncate:
    case FaultKind::Stall: return Range{0, INT_MAX};
    case FaultKind::Large:
    case FaultKind::Status:
    case FaultKind::NonJson: return Range{1, kMaxLargeBytes};
    case FaultKind::Title: return Range{1, kMaxTitleBytes};
    case FaultKind::Flood:
    case FaultKind::HeaderLine: return Range{1, kMaxStreamBytes};
    default: return std::nullopt;
    }
}

std::optional<Range> countRange(FaultKind kind)
{
    switch (kind) {
    case FaultKind::Large: return Range{1, kMaxLargeCount};
    case FaultKind::Headers: return Range{1, kMaxFillerHeaders};
    default: return std::nullopt;
    }
}

// Reads a member only some kinds take; for the others its mere presence is
// the error, whatever its value.
Read<qint64> readSized(const QJsonObject& object, const char* name, FaultKind kind,
                       std::optional<Range> range)
{
    const QString key = QLatin1String(name);
    if (!range) {
        if (member(object, key))
            return std::unexpected(notFor(name, kind));
        return std::optional<qint64>();
    }
    return readInteger(object, key, key, range->min, range->max);
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
    const auto kind = kindFromName(**text);
    if (!kind)
        return refuse(QStringLiteral("unknown fault kind '%1' (one of %2)").arg(**text, knownKinds()));
    fault.kind = *kind;
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
    if (fault.target == FaultTarget::Token
        && !isOneOf(fault.kind, {FaultKind::Status, FaultKind::Delay, FaultKind::Stall, FaultKind::NonJson,
                                 FaultKind::Close, FaultKind::Truncate, FaultKind::Flood, FaultKind::Headers,
                                 FaultKind::HeaderLine})) {
        return refuse(QStringLiteral("fault kind '%1' does not apply to the token endpoint")
                          .arg(QLatin1String(kindName(fault.kind))));
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
    if (!*delay && isOneOf(fault.kind, {FaultKind::Delay, FaultKind::Stall}))
        return refuse(
            QStringLiteral("fault kind '%1' needs 'delayMs'").arg(QLatin1String(kindName(fault.kind))));
    fault.delayMs = int(delay->value_or(0));
    return {};
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
    if (fault.location && fault.kind != FaultKind::Status)
        return refuse(notFor("location", fault.kind));
    return {};
}

Step readStatus(const QJsonObject& object, Fault& fault)
{
    const auto status = readInteger(object, u"status", QStringLiteral("status"), 200, 599);
    if (!status)
        return refuse(status.error());
    if (*status && !isOneOf(fault.kind, {FaultKind::Status, FaultKind::NonJson}))
        return refuse(notFor("status", fault.kind));
    if (!*status && fault.kind == FaultKind::Status)
        return refuse(QStringLiteral("fault kind 'status' needs 'status'"));
    fault.status = int(status->value_or(fault.kind == FaultKind::Status ? 0 : 200));
    return {};
}

Step readBody(const QJsonObject& object, Fault& fault)
{
    const auto body = readString(object, u"body", QStringLiteral("body"));
    if (!body)
        return refuse(body.error());
    const auto contentType = readString(object, u"contentType", QStringLiteral("contentType"));
    if (!contentType)
        return refuse(contentType.error());
    if (*body && !isOneOf(fault.kind, {FaultKind::Status, FaultKind::NonJson, FaultKind::Title}))
        return refuse(notFor("body", fault.kind));
    if (*contentType && !isOneOf(fault.kind, {FaultKind::Status, FaultKind::NonJson}))
        return refuse(notFor("contentType", fault.kind));
    if (!*body && fault.kind == FaultKind::Title)
        return refuse(QStringLiteral("fault kind 'title' needs 'body'"));
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
    const auto bytes = readSized(object, "bytes", fault.kind, bytesRange(fault.kind));
    if (!bytes)
        return refuse(bytes.error());
    fault.bytes = *bytes;
    const bool repeatsBody = isOneOf(fault.kind, {FaultKind::Status, FaultKind::NonJson, FaultKind::Title});
    if (fault.bytes && repeatsBody && !fault.body)
        return refuse(QStringLiteral("fault 'bytes' needs a 'body' to repeat"));
    // Repeating nothing never reaches a size.
    if (fault.bytes && repeatsBody && fault.body->isEmpty())
        return refuse(QStringLiteral("fault 'bytes' cannot repeat an empty 'body'"));

    const auto count = readSized(object, "count", fault.kind, countRange(fault.kind));
    if (!count)
        return refuse(count.error());
    fault.count = *count;
    if (fault.kind == FaultKind::Large && !fault.count && !fault.bytes)
        return refuse(QStringLiteral("fault kind 'large' needs 'count' or 'bytes'"));
    if (fault.kind == FaultKind::Headers && !fault.count)
        fault.count = kDefaultFillerHeaders;

    const auto depth = readInteger(object, u"depth", QStringLiteral("depth"), 1, kMaxDepth);
    if (!depth)
        return refuse(depth.error());
    if (*depth && fault.kind != FaultKind::Nested)
        return refuse(notFor("depth", fault.kind));
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
        readHeaders,  readStatus, readBody,   readSizes,
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
        {QStringLiteral("kind"), QLatin1String(kindName(kind))},
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
    if (kind == FaultKind::Status || kind == FaultKind::NonJson)
        object.insert(QStringLiteral("status"), status);
    if (body)
        object.insert(QStringLiteral("body"), QString::fromUtf8(*body));
    if (!contentType.isEmpty())
        object.insert(QStringLiteral("contentType"), QString::fromUtf8(contentType));
    if (bytes)
        object.insert(QStringLiteral("bytes"), *bytes);
    if (count)
        object.insert(QStringLiteral("count"), *count);
    if (kind == FaultKind::Nested)
        object.insert(QStringLiteral("depth"), depth);
    return object;
}

PlannedReply applyFault(const Fault& fault, HttpReply normal)
{
    const bool succeeded = normal.status >= 200 && normal.status < 300;
    PlannedReply planned{std::move(normal), {}};
    planned.delivery.delayMs = fault.delayMs;

    switch (fault.kind) {
    case FaultKind::Status: planned = replaceWithStatus(fault, std::move(planned)); break;
    case FaultKind::NonJson: planned = replaceWithPage(fault, std::move(planned)); break;
    case FaultKind::Nested: planned = replaceWithNesting(fault, std::move(planned)); break;
    case FaultKind::Object:
        if (succeeded)
            planned = wrapInObject(fault, std::move(planned));
        break;
    case FaultKind::Large:
        if (succeeded)
            planned = enlarge(fault, std::move(planned));
        break;
    case FaultKind::InvalidUtf8:
        if (succeeded)
            planned = breakUtf8(fault, std::move(planned));
        break;
    case FaultKind::Title:
        if (succeeded)
            planned = retitle(fault, std::move(planned));
        break;
    case FaultKind::Stall: planned = stallMidBody(fault, std::move(planned)); break;
    case FaultKind::Close: planned = closeMidBody(fault, std::move(planned)); break;
    case FaultKind::Truncate: planned = truncateBody(fault, std::move(planned)); break;
    case FaultKind::Flood: planned = flood(fault, std::move(planned)); break;
    case FaultKind::HeaderLine: planned = endlessHeaderLine(fault, std::move(planned)); break;
    case FaultKind::Headers: planned = addFillerHeaders(fault, std::move(planned)); break;
    case FaultKind::Delay:
    case FaultKind::ExpireToken: planned = keepReply(fault, std::move(planned)); break;
    }

    if (fault.retryAfter)
        planned.reply.setHeader("Retry-After", *fault.retryAfter);
    if (fault.location)
        planned.reply.setHeader("Location", *fault.location);
    return planned;
}

} // namespace QuorvelEmulator
