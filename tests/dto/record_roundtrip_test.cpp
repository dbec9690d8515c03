// Every record, fully populated, writes each of its keys exactly once in its
// declared order and reads back to the same record.
#include <gtest/gtest.h>

#include "record_test_support.h"
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

namespace tarsion::quorvel::dto {
namespace {

using tarsion::testing::keys_of;
using tarsion::testing::read;
using tarsion::testing::write;
using Keys = std::vector<std::string>;

// Gives every field of a record a distinct value, recursing into lists (two
// elements each) and nested records.
class Filler
{
public:
    template <class R>
    void fill(R& record)
    {
        std::apply([&](const auto&... entry) { (set(record.*entry.member), ...); }, R::fields());
    }

private:
    void value(std::string& v) { v = "t" + std::to_string(++n_) + "/\"é\""; }
    void value(uuid& v) { v = {0xA1B2C3D4E5F60718ull * ++n_, 0x0F1E2D3C4B5A6978ull + n_}; }
    template <class R>
    void value(R& v)
    {
        fill(v);
    }

    template <class T>
    void set(std::optional<T>& f)
    {
        value(f.emplace());
    }
    void set(std::optional<std::int64_t>& f) { f = -9223372036854775807LL + ++n_; }
    void set(std::optional<bool>& f) { f = ++n_ % 2 == 0; }
    void set(std::optional<text_map>& f) { f = text_map{{"en", "x" + std::to_string(++n_)}, {"DE", "y"}}; }
    template <class T>
    void set(std::optional<std::vector<T>>& f)
    {
        f.emplace(2);
        for (T& element : *f)
            value(element);
    }
    template <class R>
    void set(box<R>& f)
    {
        fill(f.emplace());
    }

    int n_ = 0;
};

template <class R>
class RecordRoundTrip : public ::testing::Test
{
};

struct Expected
{
    template <class R>
    static Keys keys();
};

template <>
Keys Expected::keys<EntityDto>()
{
    return {"id",
            "entityTypeKey",
            "entityTypeId",
            "referencedTo",
            "stateId",
            "stateKey",
            "isDraft",
            "version",
            "deleted",
            "localization",
            "attributeValues",
            "customerNumber",
            "schemaAppKey",
            "schemaAppId",
            "hash",
            "hashSignature",
            "hashType",
            "originalId",
            "originalSchemaApp"};
}
template <>
Keys Expected::keys<EntityAttributeValueDto>()
{
    return {"id",      "attributeKey", "attributeId",  "attributeType", "valueKey",
            "valueId", "originalId",   "localization", "valueLocales"};
}
template <>
Keys Expected::keys<EntityReferenceDto>()
{
    return {"id", "entityId", "entityTypeId", "entityTypeKey", "key", "position", "originalId"};
}
template <>
Keys Expected::keys<LocalizationDto>()
{
    return {"stateKey", "localeStates"};
}
template <>
Keys Expected::keys<ValueLocaleDto>()
{
    return {"key", "display", "value"};
}
template <>
Keys Expected::keys<SimpleSchemaAppDto>()
{
    return {"key", "version"};
}
template <>
Keys Expected::keys<BusinessEntitiesQueryDto>()
{
    return {"entitiesByIds",
            "entitiesByOriginalIds",
            "entitiesByReferencedTo",
            "entitiesByReferencedFrom",
            "entitiesByEntityTypesWithInheritance",
            "entitiesByAttributeValues",
            "entitiesByFullTextSearch",
            "entitiesByAttributeRanges",
            "entitiesByAttributeValueKeys",
            "entitiesByStateKeys",
            "entitiesByIsDraft",
            "entitiesByIsSealed",
            "entitiesByLocalizations",
            "entitiesByDirection",
            "entitiesByDeleted",
            "testModeFilter",
            "customerNumber",
            "entitiesByEntityTypeKeys",
            "entitiesBySchemaAppKeys",
            "orderByAttributeValues",
            "entitiesByOriginalSchemaApps",
            "entitiesOptions",
            "timeout",
            "orderByReferencedToKey"};
}
template <>
Keys Expected::keys<EntitiesOptionsDto>()
{
    return {"includeAttributeValuesByAttributeKeys",
            "includeLocales",
            "includeReferences",
            "includeEntityState",
            "includeSealed",
            "includeLocalization"};
}
template <>
Keys Expected::keys<AttributeValueQueryFilterDto>()
{
    return {"attributeKey", "operator", "value", "valueExpression", "ignoreCase", "locales"};
}
template <>
Keys Expected::keys<AttributeRangeValueQueryFilterDto>()
{
    return {"attributeKey", "fromOperator", "fromValue",        "fromValueExpression",
            "toOperator",   "toValue",      "toValueExpression"};
}
template <>
Keys Expected::keys<AttributeValueKeyQueryFilterDto>()
{
    return {"attributeKey", "operator", "valueKey"};
}
template <>
Keys Expected::keys<AttributeValueFullTextSearchQueryFilterDto>()
{
    return {"value", "locales", "type"};
}
template <>
Keys Expected::keys<ReferencedQueryFilterDto>()
{
    return {"entityId", "operator", "key"};
}
template <>
Keys Expected::keys<LocalizationQueryFilterDto>()
{
    return {"stateKey", "operator", "locales"};
}
template <>
Keys Expected::keys<OriginalSchemaAppRangeQueryFilterDto>()
{
    return {"key", "fromOperator", "fromVersion", "toOperator", "toVersion"};
}
template <>
Keys Expected::keys<OrderByAttributeValueDto>()
{
    return {"attributeKey", "direction", "locale"};
}
template <>
Keys Expected::keys<OrderEntitiesByDirectionDto>()
{
    return {"direction", "entityId", "cursorId"};
}

using AllRecords = ::testing::Types<
    EntityDto, EntityAttributeValueDto, EntityReferenceDto, LocalizationDto, ValueLocaleDto,
    SimpleSchemaAppDto, BusinessEntitiesQueryDto, EntitiesOptionsDto, AttributeValueQueryFilterDto,
    AttributeRangeValueQueryFilterDto, AttributeValueKeyQueryFilterDto,
    AttributeValueFullTextSearchQueryFilterDto, ReferencedQueryFilterDto, LocalizationQueryFilterDto,
    OriginalSchemaAppRangeQueryFilterDto, OrderByAttributeValueDto, OrderEntitiesByDirectionDto>;
TYPED_TEST_SUITE(RecordRoundTrip, AllRecords);

TYPED_TEST(RecordRoundTrip, FullRecordWritesEveryKeyOnceInOrderAndReadsBack)
{
    TypeParam original;
    Filler{}.fill(original);
    bool ok = false;
    const std::string text = write(original, &ok);
    EXPECT_TRUE(ok);
    EXPECT_EQ(keys_of(text), Expected::keys<TypeParam>());

    TypeParam copy;
    ASSERT_TRUE(read(copy, text));
    EXPECT_EQ(write(copy), text);
}

TYPED_TEST(RecordRoundTrip, CopiesAreDeepAndDeleteThroughTheBase)
{
    auto original = std::make_unique<TypeParam>();
    Filler{}.fill(*original);
    const std::string text = write(*original);

    std::unique_ptr<dto_base> copy = std::make_unique<TypeParam>(*original);
    original.reset();
    EXPECT_EQ(write(*copy), text);

    TypeParam assigned;
    assigned = static_cast<const TypeParam&>(*copy);
    copy.reset();
    EXPECT_EQ(write(assigned), text);
}

// A default record writes nothing at all, and so does a full one after
// reading an empty object: reading resets every field it does not find.
TYPED_TEST(RecordRoundTrip, EmptyObjectIsTheDefaultRecord)
{
    TypeParam record;
    bool ok = false;
    EXPECT_EQ(write(record, &ok), "{}");
    EXPECT_TRUE(ok);

    Filler{}.fill(record);
    EXPECT_TRUE(read(record, "{}"));
    EXPECT_EQ(write(record), "{}");
}

} // namespace
} // namespace tarsion::quorvel::dto
