// Any tree the reader accepts, read as an entity and as a list of entities,
// then written back and dumped.
//
// Properties:
//  - reading does not depend on what the record held before;
//  - the list reader appends one element per child, reads each as a record
//    alone would, and fails exactly when one of them fails;
//  - writing a record succeeds, its text reads again, and reading that text
//    gives a record that reads without failure and writes the same text
//    (except where a key or value holds a backslash followed by "u", which
//    the reader's `\u` pre-pass decodes by design, and the empty map key of
//    has_empty_map_key());
//  - the dump equals a reference built here from the dump's rules.

#include <QString>

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "fuzz_check.h"
#include "sdk/dto/EntityDto.h"
#include "sdk/json/json_getters.h"
#include "sdk/json/json_node.h"
#include "sdk/json/json_reader.h"
#include "sdk/json/json_writer.h"
#include "sdk/json/unicode_escapes.h"
#include "view/EntityDump.h"

namespace {

using tarsion::json_node;
using tarsion::quorvel::dto::EntityAttributeValueDto;
using tarsion::quorvel::dto::EntityDto;
using tarsion::quorvel::dto::EntityReferenceDto;
using tarsion::quorvel::dto::ValueLocaleDto;

std::string compact(const json_node& node)
{
    std::string out;
    tarsion::write_json(node, out, false);
    return out;
}

std::string written(const EntityDto& entity)
{
    json_node object;
    object.is_object = true;
    FUZZ_CHECK(entity.to_json(object), "writing a record succeeds");
    return compact(object);
}

// A record holding something in every field, so that a read over it shows
// whatever it fails to reset.
const EntityDto& full_entity()
{
    static const EntityDto entity = [] {
        const std::string text = R"({"id":"00000000-0000-0000-0000-000000000001","entityTypeKey":"T",
            "entityTypeId":"00000000-0000-0000-0000-000000000002","referencedTo":[{"key":"r"}],
            "stateId":"00000000-0000-0000-0000-000000000003","stateKey":"S","isDraft":true,
            "version":9,"deleted":"d","localization":{"stateKey":"L","localeStates":{"en":"x"}},
            "attributeValues":[{"attributeKey":"a","valueLocales":[{"key":"en"}]}],
            "customerNumber":"c","schemaAppKey":"k","schemaAppId":"00000000-0000-0000-0000-000000000004",
            "hash":"h","hashSignature":"s","hashType":"t","originalId":"00000000-0000-0000-0000-000000000005",
            "originalSchemaApp":{"key":"o","version":"1"}})";
        json_node root;
        EntityDto e;
        if (!tarsion::parse_json(text, root) || !e.from_json(root))
            fuzz::fail(__FILE__, __LINE__, "setup", "the full entity reads");
        return e;
    }();
    return entity;
}

// The one shape of record whose text is not JSON: a map entry with an empty
// key (`"localeStates":{"":"x"}` is read, then written as `{"x"}`). The
// writer leaves out every empty key, also of an object's member. An open
// defect, see docs/RELIABILITY.md; this exclusion goes when it is fixed.
bool has_empty_map_key(const tarsion::quorvel::dto::LocalizationDto* localization)
{
    return localization != nullptr && localization->localeStates && localization->localeStates->contains("");
}

bool has_empty_map_key(const EntityDto& entity)
{
    if (has_empty_map_key(entity.localization ? &*entity.localization : nullptr))
        return true;
    if (entity.attributeValues) {
        for (const EntityAttributeValueDto& value : *entity.attributeValues) {
            if (has_empty_map_key(value.localization ? &*value.localization : nullptr))
                return true;
        }
    }
    return false;
}

// ---------------------------------------------------------------------------
// The dump, rebuilt from its rules.

const QString kUnset = QStringLiteral("<unset>");

// Service text in the dump is escaped, one character at a time: a backslash
// doubled, \n \r \t, other C0 controls and DEL as \xHH, C1 controls, the
// line and paragraph separators and the bidirectional controls as \uHHHH.
QString escaped(const QString& text)
{
    static const std::set<char16_t> kFormatControls{0x061C, 0x200E, 0x200F, 0x2028, 0x2029, 0x202A, 0x202B,
                                                    0x202C, 0x202D, 0x202E, 0x2066, 0x2067, 0x2068, 0x2069};
    QString out;
    for (const QChar c : text) {
        const char16_t u = c.unicode();
        if (u == u'\\')
            out += QStringLiteral("\\\\");
        else if (u == u'\n')
            out += QStringLiteral("\\n");
        else if (u == u'\r')
            out += QStringLiteral("\\r");
        else if (u == u'\t')
            out += QStringLiteral("\\t");
        else if (u < 0x20 || u == 0x7F)
            out += QString::asprintf("\\x%02X", unsigned(u));
        else if ((u >= 0x80 && u <= 0x9F) || kFormatControls.contains(u))
            out += QString::asprintf("\\u%04X", unsigned(u));
        else
            out += c;
    }
    return out;
}

QString text_of(const std::optional<std::string>& field, const QString& absent = kUnset)
{
    return field ? escaped(QString::fromUtf8(field->data(), static_cast<qsizetype>(field->size()))) : absent;
}

QString uuid_of(const std::optional<tarsion::uuid>& field)
{
    if (!field)
        return kUnset;
    static constexpr char kDigits[] = "0123456789abcdef";
    QString out;
    for (int i = 0; i < 32; ++i) {
        if (i == 8 || i == 12 || i == 16 || i == 20)
            out += QLatin1Char('-');
        const std::uint64_t word = i < 16 ? field->high : field->low;
        out += QLatin1Char(kDigits[(word >> (4 * (15 - i % 16))) & 0xF]);
    }
    return out;
}

QString bool_of(const std::optional<bool>& field)
{
    return field ? (*field ? QStringLiteral("true") : QStringLiteral("false")) : kUnset;
}

QString reference_dump(const EntityDto& e)
{
    QString out;
    const auto line = [&out](const char* label, const QString& value) {
        out += QLatin1String(label) + QStringLiteral(": ") + value + QLatin1Char('\n');
    };
    line("entity.id", uuid_of(e.id));
    line("entity.entityTypeKey", text_of(e.entityTypeKey));
    line("entity.entityTypeId", uuid_of(e.entityTypeId));
    line("entity.stateKey", text_of(e.stateKey));
    line("entity.stateId", uuid_of(e.stateId));
    line("entity.isDraft", bool_of(e.isDraft));
    line("entity.version", e.version ? QString::fromStdString(std::to_string(*e.version)) : kUnset);
    line("entity.deleted", text_of(e.deleted));
    line("entity.customerNumber", text_of(e.customerNumber));
    line("entity.schemaAppKey", text_of(e.schemaAppKey));

    out += QStringLiteral("entity.attributeValues:");
    if (!e.attributeValues || e.attributeValues->empty()) {
        out += QStringLiteral(" <empty>\n");
    } else {
        out += QLatin1Char('\n');
        for (const EntityAttributeValueDto& value : *e.attributeValues) {
            out += QStringLiteral("  - attributeKey: ") + text_of(value.attributeKey) + QLatin1Char('\n');
            if (value.valueKey && !value.valueKey->empty())
                out += QStringLiteral("    valueKey: ") + text_of(value.valueKey) + QLatin1Char('\n');
            if (!value.valueLocales)
                continue;
            for (const ValueLocaleDto& locale : *value.valueLocales) {
                out += QStringLiteral("    locale[") + text_of(locale.key, QStringLiteral("<no-key>"))
                       + QStringLiteral("] display=") + text_of(locale.display) + QStringLiteral(" value=")
                       + text_of(locale.value) + QLatin1Char('\n');
            }
        }
    }

    out += QStringLiteral("entity.referencedTo:");
    if (!e.referencedTo || e.referencedTo->empty()) {
        out += QStringLiteral(" <empty>\n");
    } else {
        out += QLatin1Char('\n');
        for (const EntityReferenceDto& reference : *e.referencedTo) {
            out += QStringLiteral("  - key=") + text_of(reference.key) + QStringLiteral(" entityTypeKey=")
                   + text_of(reference.entityTypeKey) + QStringLiteral(" entityId=")
                   + uuid_of(reference.entityId) + QLatin1Char('\n');
        }
    }
    return out;
}

// ---------------------------------------------------------------------------

void check_record(const EntityDto& entity)
{
    const std::string text = written(entity);

    const QString dump = QuorvelChat::dumpEntity(entity);
    FUZZ_CHECK(dump == reference_dump(entity), "the dump follows its rules");

    std::string decoded;
    if (tarsion::decode_unicode_escapes(text, decoded) || has_empty_map_key(entity))
        return;

    json_node again;
    FUZZ_CHECK(tarsion::parse_json(text, again), "a written record reads again");
    EntityDto back;
    FUZZ_CHECK(back.from_json(again), "a written record reads without failure");
    FUZZ_CHECK(written(back) == text, "a record read from its own text writes the same text");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string input(reinterpret_cast<const char*>(data), size);
    json_node root;
    if (!tarsion::parse_json(input, root))
        return 0;

    EntityDto entity;
    const bool entity_ok = entity.from_json(root);
    EntityDto reused = full_entity();
    FUZZ_CHECK(reused.from_json(root) == entity_ok, "reading does not depend on the record's old content");
    const std::string entity_text = written(entity);
    FUZZ_CHECK(written(reused) == entity_text, "reading leaves nothing of the record's old content");
    check_record(entity);

    std::vector<EntityDto> entities(3);
    const bool list_ok = tarsion::get_list(root, nullptr, entities);
    FUZZ_CHECK(entities.size() == root.children.size(), "the list gets one element per child");
    bool all_ok = true;
    for (std::size_t i = 0; i < entities.size(); ++i) {
        EntityDto alone;
        all_ok = alone.from_json(root.children[i]) && all_ok;
        FUZZ_CHECK(written(entities[i]) == written(alone), "a list element reads as a record alone does");
        check_record(entities[i]);
    }
    FUZZ_CHECK(list_ok == all_ok, "the list fails exactly when an element fails");
    return 0;
}
