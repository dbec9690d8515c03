#include "view/EntityDump.h"

#include <QTextStream>
#include <QUuid>

#include "sdk/json/uuid.h"
#include "sdk/qt/VisibleText.h"

namespace QuorvelChat {
namespace {

using namespace tarsion::quorvel::dto;
using namespace Qt::StringLiterals;

const QString kUnset = u"<unset>"_s;

// Service text is shown in the visible notation, so that no value can break
// out of its line and forge another one.
QString text(const std::optional<std::string>& field, const QString& absent = kUnset)
{
    return field ? QuorvelSdk::visibleText(QString::fromUtf8(field->data(), qsizetype(field->size())))
                 : absent;
}

QString uuidText(const std::optional<tarsion::uuid>& field)
{
    if (!field)
        return kUnset;
    return QUuid::fromString(QLatin1String(tarsion::format_uuid(*field))).toString(QUuid::WithoutBraces);
}

QString boolText(const std::optional<bool>& field)
{
    return field ? (*field ? u"true"_s : u"false"_s) : kUnset;
}

// Every literal goes in as a static QString (u"…"_s): a plain char literal
// would be decoded from UTF-8 into a fresh string on each write, which was
// most of the dump's cost.
// `label` ends with ": ", one write fewer per line than adding it apart.
void line(QTextStream& out, const QString& label, const QString& value)
{
    out << label << value << u'\n';
}

// Writes a list's heading line: "<label>: <empty>" for an absent or empty
// list, else the label alone, its elements to follow. True when they do.
template <class T>
bool listHeading(QTextStream& out, const QString& label, const std::optional<std::vector<T>>& list)
{
    out << label;
    if (!list || list->empty()) {
        out << u" <empty>\n"_s;
        return false;
    }
    out << u'\n';
    return true;
}

void attributeValues(QTextStream& out, const EntityDto& entity)
{
    if (!listHeading(out, u"entity.attributeValues:"_s, entity.attributeValues))
        return;
    for (const EntityAttributeValueDto& value : *entity.attributeValues) {
        out << u"  - attributeKey: "_s << text(value.attributeKey) << u'\n';
        if (value.valueKey && !value.valueKey->empty())
            out << u"    valueKey: "_s << text(value.valueKey) << u'\n';
        if (!value.valueLocales)
            continue;
        for (const ValueLocaleDto& locale : *value.valueLocales) {
            out << u"    locale["_s << text(locale.key, u"<no-key>"_s) << u"] display="_s
                << text(locale.display) << u" value="_s << text(locale.value) << u'\n';
        }
    }
}

void references(QTextStream& out, const EntityDto& entity)
{
    if (!listHeading(out, u"entity.referencedTo:"_s, entity.referencedTo))
        return;
    for (const EntityReferenceDto& reference : *entity.referencedTo) {
        out << u"  - key="_s << text(reference.key) << u" entityTypeKey="_s << text(reference.entityTypeKey)
            << u" entityId="_s << uuidText(reference.entityId) << u'\n';
    }
}

} // namespace

QString dumpEntity(const EntityDto& entity)
{
    QString result;
    QTextStream out(&result);
    line(out, u"entity.id: "_s, uuidText(entity.id));
    line(out, u"entity.entityTypeKey: "_s, text(entity.entityTypeKey));
    line(out, u"entity.entityTypeId: "_s, uuidText(entity.entityTypeId));
    // The state key comes before the state id, unlike the record's order.
    line(out, u"entity.stateKey: "_s, text(entity.stateKey));
    line(out, u"entity.stateId: "_s, uuidText(entity.stateId));
    line(out, u"entity.isDraft: "_s, boolText(entity.isDraft));
    line(out, u"entity.version: "_s, entity.version ? QString::number(*entity.version) : kUnset);
    line(out, u"entity.deleted: "_s, text(entity.deleted));
    line(out, u"entity.customerNumber: "_s, text(entity.customerNumber));
    line(out, u"entity.schemaAppKey: "_s, text(entity.schemaAppKey));
    attributeValues(out, entity);
    references(out, entity);
    out.flush();
    return result;
}

} // namespace QuorvelChat
