#include "FaultEffects.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace QuorvelEmulator {

namespace {

QByteArray entityTemplateId(qint64 index)
{
    return QStringLiteral("00000000-0000-4000-8000-%1").arg(index, 12, 16, QLatin1Char('0')).toLatin1();
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

} // namespace

PlannedReply wrapInObject(const Fault&, PlannedReply normal)
{
    const QJsonArray entities = QJsonDocument::fromJson(normal.reply.body).array();
    normal.reply.body = QJsonDocument(QJsonObject{{QStringLiteral("value"), entities},
                                                  {QStringLiteral("count"), entities.size()}})
                            .toJson(QJsonDocument::Compact);
    return normal;
}

// Copies of the real result, each with an id of its own, so that a client
// that indexes by id sees distinct entities. Built from serialised text:
// a 50 MB reply is a few hundred thousand entities.
PlannedReply enlarge(const Fault& fault, PlannedReply normal)
{
    const QJsonDocument document = QJsonDocument::fromJson(normal.reply.body);
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
    normal.reply.body = std::move(body);
    return normal;
}

PlannedReply breakUtf8(const Fault&, PlannedReply normal)
{
    static const QByteArray marker = QByteArrayLiteral("\"entityTypeKey\":\"");
    static const QByteArray invalid = QByteArrayLiteral("\xC3\x28\xFF");
    QByteArray& body = normal.reply.body;
    const qsizetype at = body.indexOf(marker);
    if (at >= 0)
        body.insert(at + marker.size(), invalid);
    else
        body = "[{" + marker + invalid + "\"}]";
    return normal;
}

// Rebuilt through QJsonDocument rather than patched as text, so whatever
// the title holds (quotes, line breaks, control characters) arrives as
// that exact string in well-formed JSON.
PlannedReply retitle(const Fault& fault, PlannedReply normal)
{
    const QJsonDocument document = QJsonDocument::fromJson(normal.reply.body);
    if (!document.isArray())
        return normal;
    const QString title =
        QString::fromUtf8(fault.bytes ? repeatedToCharacter(*fault.body, *fault.bytes) : *fault.body);
    QJsonArray entities = document.array();
    for (qsizetype i = 0; i < entities.size(); ++i)
        entities.replace(i, retitledEntity(entities.at(i).toObject(), title));
    normal.reply.body = QJsonDocument(entities).toJson(QJsonDocument::Compact);
    return normal;
}

PlannedReply addFillerHeaders(const Fault& fault, PlannedReply normal)
{
    for (qint64 i = 1; i <= fault.count.value_or(0); ++i)
        normal.reply.headers.append({"X-Filler-" + QByteArray::number(i), QByteArray::number(i)});
    return normal;
}

} // namespace QuorvelEmulator
