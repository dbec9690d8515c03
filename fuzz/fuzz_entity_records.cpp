// Any tree the reader accepts, read as an entity and as a list of entities,
// then written back and dumped.
//
// Properties:
//  - reading does not depend on what the record held before;
//  - the list reader appends one element per child, reads each as a record
//    alone would, and fails exactly when one of them fails;
//  - writing a record succeeds and its text reads back to a record that
//    writes the same text (except where a key or value holds a backslash
//    followed by "u", which the reader's `\u` pre-pass decodes by design,
//    and a map entry with an empty key, which the writer leaves out);
//  - the dump has one line per line feed it writes: no service text forges
//    or breaks a line, and no control or bidirectional character is shown raw.

#include <QString>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "fuzz_check.h"
#include "sdk/dto/EntityDto.h"
#include "sdk/json/json_getters.h"
#include "sdk/json/json_reader.h"
#include "sdk/json/json_writer.h"
#include "sdk/json/detail/unicode_escapes.h"
#include "view/EntityDump.h"

namespace {

using tarsion::json_node;
using tarsion::quorvel::dto::EntityDto;

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
const EntityDto& full_entity()
{
    static const EntityDto entity = [] {
        json_node root;
        EntityDto e;
        if (!tarsion::parse_json(R"({"id":"00000000-0000-0000-0000-000000000001","entityTypeKey":"T",
            "entityTypeId":"00000000-0000-0000-0000-000000000002","referencedTo":[{"key":"r"}],
            "stateId":"00000000-0000-0000-0000-000000000003","stateKey":"S","isDraft":true,"version":9,"deleted":"d",
            "localization":{"stateKey":"L","localeStates":{"en":"x"}},"attributeValues":[{"attributeKey":"a",
            "valueLocales":[{"key":"en"}]}],"customerNumber":"c","schemaAppKey":"k","hash":"h","hashSignature":"s",
            "schemaAppId":"00000000-0000-0000-0000-000000000004","hashType":"t","originalSchemaApp":{"key":"o"},
            "originalId":"00000000-0000-0000-0000-000000000005"})",
                                 root)
            || !e.from_json(root))
            fuzz::fail(__FILE__, __LINE__, "setup", "the full entity reads");
        return e;
    }();
    return entity;
}

bool has_empty_map_key(const EntityDto& entity)
{
    const auto empty_key = [](const auto& localization) {
        return localization && localization->localeStates && localization->localeStates->contains("");
    };
    bool found = empty_key(entity.localization);
    for (const auto& value :
         entity.attributeValues.value_or(std::vector<tarsion::quorvel::dto::EntityAttributeValueDto>{}))
        found = found || empty_key(value.localization);
    return found;
}

void check_record(const EntityDto& entity)
{
    const QString dump = QuorvelChat::dumpEntity(entity);
    for (const QChar c : dump) {
        const char16_t u = c.unicode();
        FUZZ_CHECK(u == u'\n'
                       || (u >= 0x20 && u != 0x7F && !(u >= 0x80 && u <= 0x9F) && u != 0x061C
                           && !(u >= 0x200E && u <= 0x200F) && !(u >= 0x2028 && u <= 0x202E)
                           && !(u >= 0x2066 && u <= 0x2069)),
                   "the dump shows no control or bidirectional character raw");
    }
    // Ten fields, two list headings, a line per attribute value, its value
    // key and each of its locales, and a line per reference.
    qsizetype lines = 12 + static_cast<qsizetype>(entity.referencedTo ? entity.referencedTo->size() : 0);
    for (const auto& value :
         entity.attributeValues.value_or(std::vector<tarsion::quorvel::dto::EntityAttributeValueDto>{}))
        lines += 1 + (value.valueKey && !value.valueKey->empty())
                 + static_cast<qsizetype>(value.valueLocales ? value.valueLocales->size() : 0);
    FUZZ_CHECK(dump.count(QLatin1Char('\n')) == lines && dump.endsWith(QLatin1Char('\n')),
               "the dump has its lines and no service text adds or breaks one");
    const std::string text = written(entity);
    std::string decoded;
    if (tarsion::detail::decode_unicode_escapes(text, decoded) || has_empty_map_key(entity))
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
    json_node root;
    if (!tarsion::parse_json(std::string(reinterpret_cast<const char*>(data), size), root))
        return 0;
    EntityDto entity;
    const bool entity_ok = entity.from_json(root);
    EntityDto reused = full_entity();
    FUZZ_CHECK(reused.from_json(root) == entity_ok, "reading does not depend on the record's old content");
    FUZZ_CHECK(written(reused) == written(entity), "reading leaves nothing of the record's old content");
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
