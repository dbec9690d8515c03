#pragma once

#include "sdk/dto/AttributeRangeValueQueryFilterDto.h"
#include "sdk/dto/AttributeValueFullTextSearchQueryFilterDto.h"
#include "sdk/dto/AttributeValueKeyQueryFilterDto.h"
#include "sdk/dto/AttributeValueQueryFilterDto.h"
#include "sdk/dto/EntitiesOptionsDto.h"
#include "sdk/dto/LocalizationQueryFilterDto.h"
#include "sdk/dto/OrderByAttributeValueDto.h"
#include "sdk/dto/OrderEntitiesByDirectionDto.h"
#include "sdk/dto/OriginalSchemaAppRangeQueryFilterDto.h"
#include "sdk/dto/ReferencedQueryFilterDto.h"
#include "sdk/dto/record.h"

namespace tarsion::quorvel::dto {

// The body of an entities query; paging travels in the query string.
struct BusinessEntitiesQueryDto : record<BusinessEntitiesQueryDto>
{
    list_field<uuid> entitiesByIds;
    list_field<uuid> entitiesByOriginalIds;
    list_field<ReferencedQueryFilterDto> entitiesByReferencedTo;
    list_field<ReferencedQueryFilterDto> entitiesByReferencedFrom;
    bool_field entitiesByEntityTypesWithInheritance;
    list_field<AttributeValueQueryFilterDto> entitiesByAttributeValues;
    list_field<AttributeValueFullTextSearchQueryFilterDto> entitiesByFullTextSearch;
    list_field<AttributeRangeValueQueryFilterDto> entitiesByAttributeRanges;
    list_field<AttributeValueKeyQueryFilterDto> entitiesByAttributeValueKeys;
    list_field<std::string> entitiesByStateKeys;
    bool_field entitiesByIsDraft;
    bool_field entitiesByIsSealed;
    list_field<LocalizationQueryFilterDto> entitiesByLocalizations;
    nested_field<OrderEntitiesByDirectionDto> entitiesByDirection;
    text_field entitiesByDeleted;
    text_field testModeFilter;
    text_field customerNumber;
    list_field<std::string> entitiesByEntityTypeKeys;
    list_field<std::string> entitiesBySchemaAppKeys;
    list_field<OrderByAttributeValueDto> orderByAttributeValues;
    list_field<OriginalSchemaAppRangeQueryFilterDto> entitiesByOriginalSchemaApps;
    nested_field<EntitiesOptionsDto> entitiesOptions;
    text_field timeout;
    text_field orderByReferencedToKey;

    static constexpr auto fields()
    {
        using R = BusinessEntitiesQueryDto;
        return std::tuple{
            field("entitiesByIds", &R::entitiesByIds),
            field("entitiesByOriginalIds", &R::entitiesByOriginalIds),
            field("entitiesByReferencedTo", &R::entitiesByReferencedTo),
            field("entitiesByReferencedFrom", &R::entitiesByReferencedFrom),
            field("entitiesByEntityTypesWithInheritance", &R::entitiesByEntityTypesWithInheritance),
            field("entitiesByAttributeValues", &R::entitiesByAttributeValues),
            field("entitiesByFullTextSearch", &R::entitiesByFullTextSearch),
            field("entitiesByAttributeRanges", &R::entitiesByAttributeRanges),
            field("entitiesByAttributeValueKeys", &R::entitiesByAttributeValueKeys),
            field("entitiesByStateKeys", &R::entitiesByStateKeys),
            field("entitiesByIsDraft", &R::entitiesByIsDraft),
            field("entitiesByIsSealed", &R::entitiesByIsSealed),
            field("entitiesByLocalizations", &R::entitiesByLocalizations),
            field("entitiesByDirection", &R::entitiesByDirection),
            field("entitiesByDeleted", &R::entitiesByDeleted),
            field("testModeFilter", &R::testModeFilter),
            field("customerNumber", &R::customerNumber),
            field("entitiesByEntityTypeKeys", &R::entitiesByEntityTypeKeys),
            field("entitiesBySchemaAppKeys", &R::entitiesBySchemaAppKeys),
            field("orderByAttributeValues", &R::orderByAttributeValues),
            field("entitiesByOriginalSchemaApps", &R::entitiesByOriginalSchemaApps),
            field("entitiesOptions", &R::entitiesOptions),
            field("timeout", &R::timeout),
            field("orderByReferencedToKey", &R::orderByReferencedToKey)};
    }
};

} // namespace tarsion::quorvel::dto
