// Every record's wire form (its keys, in their order, each once), the round
// trip through it, and what reading makes of odd or failing members.

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "sdk/dto/AttributeRangeValueQueryFilterDto.h"
#include "sdk/dto/AttributeValueFullTextSearchQueryFilterDto.h"
#include "sdk/dto/AttributeValueKeyQueryFilterDto.h"
#include "sdk/dto/AttributeValueQueryFilterDto.h"
#include "sdk/dto/BusinessEntitiesQueryDto.h"
#include "sdk/dto/EntitiesOptionsDto.h"
#include "sdk/dto/EntityDto.h"
#include "sdk/dto/LocalizationQueryFilterDto.h"
#include "sdk/dto/OrderByAttributeValueDto.h"
#include "sdk/dto/OrderEntitiesByDirectionDto.h"
#include "sdk/dto/OriginalSchemaAppRangeQueryFilterDto.h"
#include "sdk/dto/ReferencedQueryFilterDto.h"
#include "sdk/json/json_reader.h"
#include "sdk/json/json_writer.h"
#include "support/full_entity.h"

namespace tarsion::quorvel::dto {
namespace {

bool read(dto_base& record, const std::string& text)
{
    json_node root;
    EXPECT_TRUE(parse_json(text, root)) << text;
    return record.from_json(root);
}

std::string write(const dto_base& record, bool* ok = nullptr)
{
    json_node root;
    root.is_object = true;
    const bool written = record.to_json(root);
    if (ok)
        *ok = written;
    std::string out;
    write_json(root, out, false);
    return out;
}

// Gives every field a distinct value, two elements to each list.
struct Filler
{
    template <class T>
    void value(T& v)
    {
        if constexpr (std::is_same_v<T, std::string>)
            v = "t" + std::to_string(++n) + "/\"\xc3\xa9\"";
        else if constexpr (std::is_same_v<T, uuid>)
            v = {0xA1B2C3D4E5F60718ull * ++n, 0x0F1E2D3C4B5A6978ull + n};
        else if constexpr (std::is_same_v<T, std::int64_t>)
            v = -9223372036854775807LL + ++n;
        else if constexpr (std::is_same_v<T, bool>)
            v = ++n % 2 == 0;
        else if constexpr (std::is_same_v<T, text_map>)
            v = text_map{{"en", "x" + std::to_string(++n)}, {"DE", "y"}};
        else if constexpr (requires { v.resize(2); }) {
            v.resize(2);
            for (auto& element : v)
                value(element);
        } else if constexpr (requires { v.emplace(); })
            value(v.emplace()); // an optional field or a nested record's box
        else
            std::apply([&](const auto&... entry) { (value(v.*entry.member), ...); }, T::fields());
    }

    int n = 0;
};

// A full record writes its keys in their documented order and reads back to
// itself; a copy is deep; reading an empty object resets every field.
template <class R>
void expect_round_trip(const char* keys)
{
    SCOPED_TRACE(keys);
    auto original = std::make_unique<R>();
    Filler{}.value(*original);
    bool ok = false;
    const std::string text = write(*original, &ok);
    EXPECT_TRUE(ok);
    json_node root;
    ASSERT_TRUE(parse_json(text, root));
    std::string written_keys;
    for (const json_node& member : root.children)
        written_keys += (written_keys.empty() ? "" : ",") + member.key.str();
    EXPECT_EQ(written_keys, keys);
    // Each key maps to the member declared in its place. A row naming
    // another member reads and writes it alike, which no round trip shows.
    std::vector<std::ptrdiff_t> offsets;
    std::apply(
        [&](const auto&... entry) {
            ((offsets.push_back(reinterpret_cast<const char*>(&(original.get()->*entry.member))
                                - reinterpret_cast<const char*>(original.get()))),
             ...);
        },
        R::fields());
    EXPECT_TRUE(std::ranges::is_sorted(offsets, std::less_equal<>{}))
        << "a row names a member out of its place";
    R copy;
    ASSERT_TRUE(read(copy, text));
    EXPECT_EQ(write(copy), text);
    const std::unique_ptr<dto_base> clone = std::make_unique<R>(*original);
    original.reset();
    EXPECT_EQ(write(*clone), text);
    EXPECT_TRUE(read(copy, "{}"));
    EXPECT_EQ(write(copy, &ok), "{}");
    EXPECT_TRUE(ok);
}

TEST(RecordRoundTrip, EveryRecordWritesItsKeysInOrderAndReadsBack)
{
    // Keys are looked up ignoring case: a table with two that differ only
    // in case is refused when it is compiled.
    using keys = std::array<std::string_view, 3>;
    EXPECT_TRUE(detail::keys_distinct_ignoring_case(keys{"id", "key", "keys"}));
    EXPECT_FALSE(detail::keys_distinct_ignoring_case(keys{"id", "Key", "key"}));
    EXPECT_FALSE(detail::keys_distinct_ignoring_case(keys{"ID", "key", "id"}));
    expect_round_trip<EntityDto>(
        "id,entityTypeKey,entityTypeId,referencedTo,stateId,stateKey,isDraft,version,deleted,"
        "localization,attributeValues,customerNumber,schemaAppKey,schemaAppId,hash,"
        "hashSignature,hashType,originalId,originalSchemaApp");
    expect_round_trip<EntityAttributeValueDto>(
        "id,attributeKey,attributeId,attributeType,valueKey,valueId,originalId,localization,valueLocales");
    expect_round_trip<EntityReferenceDto>("id,entityId,entityTypeId,entityTypeKey,key,position,originalId");
    expect_round_trip<LocalizationDto>("stateKey,localeStates");
    expect_round_trip<ValueLocaleDto>("key,display,value");
    expect_round_trip<SimpleSchemaAppDto>("key,version");
    expect_round_trip<BusinessEntitiesQueryDto>(
        "entitiesByIds,entitiesByOriginalIds,entitiesByReferencedTo,entitiesByReferencedFrom,"
        "entitiesByEntityTypesWithInheritance,entitiesByAttributeValues,entitiesByFullTextSearch,"
        "entitiesByAttributeRanges,entitiesByAttributeValueKeys,entitiesByStateKeys,entitiesByIsDraft,"
        "entitiesByIsSealed,entitiesByLocalizations,entitiesByDirection,entitiesByDeleted,testModeFilter,"
        "customerNumber,entitiesByEntityTypeKeys,entitiesBySchemaAppKeys,orderByAttributeValues,"
        "entitiesByOriginalSchemaApps,entitiesOptions,timeout,orderByReferencedToKey");
    expect_round_trip<EntitiesOptionsDto>(
        "includeAttributeValuesByAttributeKeys,includeLocales,includeReferences,"
        "includeEntityState,includeSealed,includeLocalization");
    expect_round_trip<AttributeValueQueryFilterDto>(
        "attributeKey,operator,value,valueExpression,ignoreCase,locales");
    expect_round_trip<AttributeRangeValueQueryFilterDto>(
        "attributeKey,fromOperator,fromValue,fromValueExpression,toOperator,toValue,toValueExpression");
    expect_round_trip<AttributeValueKeyQueryFilterDto>("attributeKey,operator,valueKey");
    expect_round_trip<AttributeValueFullTextSearchQueryFilterDto>("value,locales,type");
    expect_round_trip<ReferencedQueryFilterDto>("entityId,operator,key");
    expect_round_trip<LocalizationQueryFilterDto>("stateKey,operator,locales");
    expect_round_trip<OriginalSchemaAppRangeQueryFilterDto>(
        "key,fromOperator,fromVersion,toOperator,toVersion");
    expect_round_trip<OrderByAttributeValueDto>("attributeKey,direction,locale");
    expect_round_trip<OrderEntitiesByDirectionDto>("direction,entityId,cursorId");
}

#define NIL_ID "\"00000000-0000-0000-0000-000000000000\""

// What a read entity holds, seen through what it writes back.
TEST(RecordReading, KeysKindsAndFailures)
{
    const struct
    {
        const char* json;
        bool ok;
        const char* written;
    } cases[] = {
        // Every member with its own value: a field table row that reads one
        // member into another's field shows.
        {testing::kFullEntity, true, testing::kFullEntity},
        {R"({"Id":"0123abcd-0000-0000-0000-0000000000FF"})", true,
         R"({"id":"0123abcd-0000-0000-0000-0000000000ff"})"},
        {R"({"STATEKEY":"b","stateKey":"a"})", true, R"({"stateKey":"b"})"},
        {R"({"version":"12","isDraft":"true"})", true, R"({"isDraft":true,"version":12})"},
        {R"({"version":null})", false, R"({"version":0})"},
        {R"({"isDraft":"TRUE"})", false, R"({"isDraft":false})"},
        {R"({"stateKey":null,"hash":12,"hashType":""})", true,
         R"({"stateKey":"null","hash":"12","hashType":""})"},
        {R"({"localization":{"localeStates":{"en":"x","de":"y","en":"z","EN":"w"}}})", true,
         R"({"localization":{"localeStates":{"EN":"w","de":"y","en":"z"}}})"},
        {R"({"attributeValues":[]})", true, R"({"attributeValues":[]})"},
        {R"({"attributeValues":[1,"x",{"attributeKey":"A"}]})", true,
         R"({"attributeValues":[{},{},{"attributeKey":"A"}]})"},
        {R"({"originalSchemaApp":null})", true, R"({"originalSchemaApp":{}})"},
        {R"({"originalSchemaApp":[{"key":"k"}]})", true, R"({"originalSchemaApp":{}})"},
        // A failure ends the record: fields declared after it stay absent.
        {R"({"entityTypeKey":"T","stateKey":"A","id":"xyz"})", false, "{\"id\":" NIL_ID "}"},
        {R"({"referencedTo":[{"id":"bad"},{"key":"k"}],"stateKey":"s"})", false,
         "{\"referencedTo\":[{\"id\":" NIL_ID "},{\"key\":\"k\"}]}"},
        {R"({"localization":{},"attributeValues":[{"valueLocales":[{"key":"EN_US"}],"id":"x"}],"customerNumber":"c"})",
         false, "{\"localization\":{},\"attributeValues\":[{\"id\":" NIL_ID "}]}"},
    };
    for (const auto& c : cases) {
        EntityDto e;
        EXPECT_EQ(read(e, c.json), c.ok) << c.json;
        EXPECT_EQ(write(e), c.written) << c.json;
    }
}

} // namespace
} // namespace tarsion::quorvel::dto
