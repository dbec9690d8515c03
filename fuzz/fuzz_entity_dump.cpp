// An entity read from any JSON the reader accepts, as a record and as a list
// of records, then written back, dumped and cut for the page. The first two
// bytes choose the cut sizes; the rest is the JSON.
//
// Properties:
//  - reading does not depend on what the record held before; the list reader
//    gives one element per child, each read as a record alone would be, and
//    fails exactly when one of them fails;
//  - a record's text reads back to a record that writes the same text (but
//    where a text holds a backslash and "u", which the reader's `\u` pass
//    decodes by design, or a map has an empty key, which the writer leaves
//    out);
//  - the dump shows nothing hidden raw (fuzz/shown_text.h) but the line feeds
//    that end its lines, and has exactly the lines the record calls for, each
//    starting with its label in the fixed order: no service text forges or
//    breaks a line;
//  - boundedLines cuts the dump as it cuts any text in the notation.

#include <QString>
#include <QStringList>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "fuzz_check.h"
#include "sdk/dto/EntityDto.h"
#include "sdk/json/detail/unicode_escapes.h"
#include "sdk/json/json_getters.h"
#include "sdk/json/json_reader.h"
#include "sdk/json/json_writer.h"
#include "shown_text.h"
#include "support/full_entity.h"
#include "view/EntityDump.h"

namespace {

using namespace tarsion::quorvel::dto;
using tarsion::json_node;

std::string written(const EntityDto& entity)
{
    json_node object;
    object.is_object = true;
    FUZZ_CHECK(entity.to_json(object), "writing a record succeeds");
    std::string out;
    tarsion::write_json(object, out, false);
    return out;
}

// Something in every field, so that a read over it shows what it fails to reset.
EntityDto full_entity()
{
    json_node root;
    EntityDto e;
    tarsion::parse_json(tarsion::testing::kFullEntity, root);
    FUZZ_CHECK(e.from_json(root), "the full entity reads");
    return e;
}

// The start of every line of the record's dump, in order.
QStringList labels(const EntityDto& entity)
{
    QStringList out =
        QStringLiteral("entity.id: |entity.entityTypeKey: |entity.entityTypeId: |entity.stateKey: |"
                       "entity.stateId: |entity.isDraft: |entity.version: |entity.deleted: |"
                       "entity.customerNumber: |entity.schemaAppKey: ")
            .split(u'|');
    const std::vector<EntityAttributeValueDto> values =
        entity.attributeValues.value_or(std::vector<EntityAttributeValueDto>{});
    out << (values.empty() ? QStringLiteral("entity.attributeValues: <empty>\n")
                           : QStringLiteral("entity.attributeValues:\n"));
    for (const EntityAttributeValueDto& value : values) {
        out << QStringLiteral("  - attributeKey: ");
        if (value.valueKey && !value.valueKey->empty())
            out << QStringLiteral("    valueKey: ");
        for (std::size_t i = 0; value.valueLocales && i < value.valueLocales->size(); ++i)
            out << QStringLiteral("    locale[");
    }
    const std::size_t references = entity.referencedTo ? entity.referencedTo->size() : 0;
    out << (references == 0 ? QStringLiteral("entity.referencedTo: <empty>\n")
                            : QStringLiteral("entity.referencedTo:\n"));
    for (std::size_t i = 0; i < references; ++i)
        out << QStringLiteral("  - key=");
    return out;
}

bool has_empty_map_key(const EntityDto& entity)
{
    const auto empty_key = [](const auto& localization) {
        return localization && localization->localeStates && localization->localeStates->contains("");
    };
    bool found = empty_key(entity.localization);
    for (const auto& value : entity.attributeValues.value_or(std::vector<EntityAttributeValueDto>{}))
        found = found || empty_key(value.localization);
    return found;
}

QString check_record(const EntityDto& entity)
{
    const QString dump = QuorvelChat::dumpEntity(entity);
    FUZZ_CHECK(fuzz::shows_nothing_hidden(dump, true), "the dump shows nothing hidden raw");
    const QStringList lines = dump.split(u'\n');
    const QStringList expected = labels(entity);
    FUZZ_CHECK(dump.endsWith(u'\n') && lines.size() == expected.size() + 1,
               "the dump has the record's lines");
    for (qsizetype i = 0; i < expected.size(); ++i)
        FUZZ_CHECK((lines[i] + u'\n').startsWith(expected[i]), "each line starts with its label, in order");

    const std::string text = written(entity);
    std::string decoded;
    if (tarsion::detail::decode_unicode_escapes(text, decoded) || has_empty_map_key(entity))
        return dump;
    json_node again;
    EntityDto back;
    FUZZ_CHECK(tarsion::parse_json(text, again) && back.from_json(again), "a written record reads again");
    FUZZ_CHECK(written(back) == text, "a record read from its own text writes the same text");
    return dump;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const EntityDto kFull = full_entity();
    json_node root;
    if (size < 2
        || !tarsion::parse_json(std::string(reinterpret_cast<const char*>(data) + 2, size - 2), root))
        return 0;
    EntityDto entity;
    const bool entity_ok = entity.from_json(root);
    EntityDto reused = kFull;
    FUZZ_CHECK(reused.from_json(root) == entity_ok && written(reused) == written(entity),
               "reading leaves nothing of the record's old content");
    QString dump = check_record(entity);
    dump.replace(QChar(0x2026), QChar(0x2025));
    fuzz::check_bounded(dump, data[0] % 80, (data[1] + 1) * 16, true);

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
