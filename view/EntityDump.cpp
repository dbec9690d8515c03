#include "view/EntityDump.h"

#include <QTextStream>
#include <QUuid>

#include "sdk/json/uuid.h"

namespace QuorvelChat {
namespace {

using namespace tarsion::quorvel::dto;

const QString kUnset = QStringLiteral("<unset>");

QString text(const std::optional<std::string>& field, const QString& absent = kUnset)
{
    return field ? QString::fromUtf8(field->data(), qsizetype(field->size())) : absent;
}

QString uuidText(const std::optional<tarsion::uuid>& field)
{
    if (!field)
        return kUnset;
    return QUuid::fromString(QLatin1String(tarsion::format_uuid(*field)))
        .toString(QUuid::WithoutBraces);
}

QString boolText(const std::optional<bool>& field)
{
    return field ? (*field ? QStringLiteral("true") : QStringLiteral("false")) : kUnset;
}

void line(QTextStream& out, const char* label, const QString& value)
{
    out << label << ": " << value << '\n';
}

template <class T>
bool hasElements(const std::optional<std::vector<T>>& list)
{
    return list && !list->empty();
}

void attributeValues(QTextStream& out, const EntityDto& entity)
{
    out << "entity.attributeValues:";
    if (!hasElements(entity.attributeValues)) {
        out << " <empty>\n";
        return;
    }
    out << '\n';
    for (const EntityAttributeValueDto& value : *entity.attributeValues) {
        out << "  - attributeKey: " << text(value.attributeKey) << '\n';
        if (value.valueKey && !value.valueKey->empty())
            out << "    valueKey: " << text(value.valueKey) << '\n';
        if (!value.valueLocales)
            continue;
        for (const ValueLocaleDto& locale : *value.valueLocales) {
            out << "    locale[" << text(locale.key, QStringLiteral("<no-key>"))
                << "] display=" << text(locale.display) << " value=" << text(locale.value) << '\n';
        }
    }
}

void references(QTextStream& out, const EntityDto& entity)
{
    out << "entity.referencedTo:";
    if (!hasElements(entity.referencedTo)) {
        out << " <empty>\n";
        return;
    }
    out << '\n';
    for (const EntityReferenceDto& reference : *entity.referencedTo) {
        out << "  - key=" << text(reference.key) << " entityTypeKey="
            << text(reference.entityTypeKey) << " entityId=" << uuidText(reference.entityId)
            << '\n';
    }
}

} // namespace

QString dumpEntity(const EntityDto& entity)
{
    QString result;
    QTextStream out(&result);
    line(out, "entity.id", uuidText(entity.id));
    line(out, "entity.entityTypeKey", text(entity.entityTypeKey));
    line(out, "entity.entityTypeId", uuidText(entity.entityTypeId));
    // The state key comes before the state id, unlike the record's order.
    line(out, "entity.stateKey", text(entity.stateKey));
    line(out, "entity.stateId", uuidText(entity.stateId));
    line(out, "entity.isDraft", boolText(entity.isDraft));
    line(out, "entity.version", entity.version ? QString::number(*entity.version) : kUnset);
    line(out, "entity.deleted", text(entity.deleted));
    line(out, "entity.customerNumber", text(entity.customerNumber));
    line(out, "entity.schemaAppKey", text(entity.schemaAppKey));
    attributeValues(out, entity);
    references(out, entity);
    out.flush();
    return result;
}

} // namespace QuorvelChat
