#include "Faults.h"

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

QByteArray entityTemplateId(qint64 index)
{
    return QStringLiteral("00000000-0000-4000-8000-%1").arg(index, 12, 16, QLatin1Char('0')).toLatin1();
}

// Copies of the real result, each with an id of its own, so that a client
// that indexes by id sees distinct entities. Built from serialised text:
// a 50 MB reply is a few hundred thousand entities.
HttpReply enlarge(const Fault& fault, HttpReply normal)
{
    const QJsonDocument document = QJsonDocument::fromJson(normal.body);
    const QJsonArray source = document.array();
    if (!document.isArray() || source.isEmpty())
        return normal;

    QList<QByteArray> templates;
    QList<QByteArray> ids;
    for (const QJsonValue& entity : source) {
        templates.append(QJsonDocument(entity.toObject()).toJson(QJsonDocument::Compact));
        ids.append(entity.toObject().value(QLatin1String("id")).toString().toLatin1());
    }

    const qint64 wantCount = fault.count.value_or(0);
    const qint64 wantBytes = fault.bytes.value_or(0);
    QByteArray body("[");
    body.reserve(qMax<qint64>(wantBytes, 0) + 1024);
    for (qint64 i = 0; i < wantCount || body.size() + 1 < wantBytes; ++i) {
        const qsizetype which = qsizetype(i % templates.size());
        QByteArray copy = templates.at(which);
        if (i >= templates.size() && !ids.at(which).isEmpty())
            copy.replace(ids.at(which), entityTemplateId(i));
        if (i > 0)
            body.append(',');
        body.append(copy);
    }
    body.append(']');
    normal.body = std::move(body);
    return normal;
}

HttpReply breakUtf8(HttpReply normal)
{
    static const QByteArray marker = QByteArrayLiteral("\"entityTypeKey\":\"");
    static const QByteArray invalid = QByteArrayLiteral("\xC3\x28\xFF");
    const qsizetype at = normal.body.indexOf(marker);
    if (at >= 0)
        normal.body.insert(at + marker.size(), invalid);
    else
        normal.body = "[{" + marker + invalid + "\"}]";
    return normal;
}

// `unit` over and over, exactly `size` bytes of it.
QByteArray repeatedTo(const QByteArray& unit, qint64 size)
{
    QByteArray text = unit.repeated(qsizetype(size / unit.size() + 1));
    text.truncate(qsizetype(size));
    return text;
}

// As repeatedTo, but a character the cut would split is left out whole, so
// that the text stays valid UTF-8 (JSON text must be).
QByteArray repeatedToCharacter(const QByteArray& unit, qint64 size)
{
    // One byte more, to see whether the cut falls inside a character.
    QByteArray text = repeatedTo(unit, size + 1);
    qsizetype end = qsizetype(size);
    while (end > 0 && (uchar(text.at(end)) & 0xC0) == 0x80)
        --end;
    text.truncate(end);
    return text;
}

QJsonArray retitledLocales(QJsonArray locales, const QString& title)
{
    for (qsizetype i = 0; i < locales.size(); ++i) {
        QJsonObject locale = locales.at(i).toObject();
        locale.insert(QLatin1String("display"), title);
        locale.insert(QLatin1String("value"), title);
        locales.replace(i, locale);
    }
    return locales;
}

QJsonObject retitledEntity(QJsonObject entity, const QString& title)
{
    static const QLatin1String kAttributes("attributeValues");
    static const QLatin1String kLocales("valueLocales");
    QJsonArray attributes = entity.value(kAttributes).toArray();
    for (qsizetype i = 0; i < attributes.size(); ++i) {
        QJsonObject attribute = attributes.at(i).toObject();
        if (attribute.value(QLatin1String("attributeKey")).toString() != QLatin1String("TICKET_TITLE"))
            continue;
        attribute.insert(kLocales, retitledLocales(attribute.value(kLocales).toArray(), title));
        attributes.replace(i, attribute);
    }
    if (entity.contains(kAttributes))
        entity.insert(kAttributes, attributes);
    return entity;
}

// Rebuilt through QJsonDocument rather than patched as text, so whatever
// the title holds (quotes, line breaks, control characters) arrives as
// that exact string in well-formed JSON.
HttpReply retitle(const Fault& fault, HttpReply normal)
{
    const QJsonDocument document = QJsonDocument::fromJson(normal.body);
    if (!document.isArray())
        return normal;
    const QString title =
        QString::fromUtf8(fault.bytes ? repeatedToCharacter(*fault.body, *fault.bytes) : *fault.body);
    QJsonArray entities = document.array();
    for (qsizetype i = 0; i < entities.size(); ++i)
        entities.replace(i, retitledEntity(entities.at(i).toObject(), title));
    normal.body = QJsonDocument(entities).toJson(QJsonDocument::Compact);
    return normal;
}

// A body given in the fault, stretched to `bytes` when asked to.
QByteArray faultBody(const Fault& fault)
{
    return fault.bytes ? repeatedTo(*fault.body, *fault.bytes) : *fault.body;
}

} // namespace

namespace {

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
    PlannedReply planned{std::move(normal), {}};
    HttpReply& reply = planned.reply;
    Delivery& delivery = planned.delivery;
    const bool succeeded = reply.status >= 200 && reply.status < 300;
    delivery.delayMs = fault.kind == FaultKind::Stall ? 0 : fault.delayMs;

    switch (fault.kind) {
    case FaultKind::Status:
        if (fault.body) {
            reply = HttpReply{fault.status, {}, faultBody(fault)};
            reply.headers.append({"Content-Type", fault.contentType.isEmpty()
                                                      ? QByteArrayLiteral("text/plain; charset=utf-8")
                                                      : fault.contentType});
        } else {
            reply =
                HttpReply::message(fault.status, QStringLiteral("Injected fault: HTTP %1").arg(fault.status));
        }
        break;
    case FaultKind::NonJson:
        reply = HttpReply{
            fault.status,
            {},
            fault.body ? faultBody(fault)
                       : QByteArrayLiteral(
                           "<!DOCTYPE html><html><head><title>Service unavailable</title></head>"
                           "<body><h1>Service unavailable</h1><p>The gateway could not reach the service.</p>"
                           "</body></html>")};
        reply.headers.append({"Content-Type", fault.contentType.isEmpty()
                                                  ? QByteArrayLiteral("text/html; charset=utf-8")
                                                  : fault.contentType});
        break;
    case FaultKind::Object:
        if (succeeded) {
            const QJsonDocument document = QJsonDocument::fromJson(reply.body);
            reply.body = QJsonDocument(QJsonObject{{QStringLiteral("value"), document.array()},
                                                   {QStringLiteral("count"), document.array().size()}})
                             .toJson(QJsonDocument::Compact);
        }
        break;
    case FaultKind::Large:
        if (succeeded)
            reply = enlarge(fault, std::move(reply));
        break;
    case FaultKind::Nested:
        reply = HttpReply{200,
                          {{"Content-Type", "application/json"}},
                          QByteArray(fault.depth, '[') + QByteArray(fault.depth, ']')};
        break;
    case FaultKind::InvalidUtf8:
        if (succeeded)
            reply = breakUtf8(std::move(reply));
        break;
    case FaultKind::Close:
    case FaultKind::Truncate:
    case FaultKind::Stall:
        delivery.cut = fault.kind == FaultKind::Close      ? Delivery::Cut::Close
                       : fault.kind == FaultKind::Truncate ? Delivery::Cut::Truncate
                                                           : Delivery::Cut::Stall;
        delivery.cutAt = fault.bytes.value_or(reply.body.size() / 2);
        delivery.stallMs = fault.delayMs;
        break;
    case FaultKind::Title:
        if (succeeded)
            reply = retitle(fault, std::move(reply));
        break;
    case FaultKind::Flood:
    case FaultKind::HeaderLine:
        reply = fault.kind == FaultKind::Flood ? HttpReply{200, {{"Content-Type", "application/json"}}, {}}
                                               : HttpReply{200, {}, {}};
        delivery.stream =
            fault.kind == FaultKind::Flood ? Delivery::Stream::Flood : Delivery::Stream::HeaderLine;
        delivery.streamBytes = fault.bytes;
        break;
    case FaultKind::Headers:
        for (qint64 i = 1; i <= fault.count.value_or(kDefaultFillerHeaders); ++i)
            reply.headers.append({"X-Filler-" + QByteArray::number(i), QByteArray::number(i)});
        break;
    case FaultKind::Delay:
    case FaultKind::ExpireToken: break;
    }

    if (fault.retryAfter)
        reply.setHeader("Retry-After", *fault.retryAfter);
    if (fault.location)
        reply.setHeader("Location", *fault.location);
    return planned;
}

} // namespace QuorvelEmulator
