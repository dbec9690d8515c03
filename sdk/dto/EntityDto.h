#pragma once

#include "sdk/dto/EntityAttributeValueDto.h"
#include "sdk/dto/EntityReferenceDto.h"
#include "sdk/dto/LocalizationDto.h"
#include "sdk/dto/SimpleSchemaAppDto.h"
#include "sdk/dto/record.h"

namespace tarsion::quorvel::dto {

// One business entity as the service returns it.
struct EntityDto : record<EntityDto>
{
    uuid_field id;
    text_field entityTypeKey;
    uuid_field entityTypeId;
    list_field<EntityReferenceDto> referencedTo;
    uuid_field stateId;
    text_field stateKey;
    bool_field isDraft;
    int64_field version;
    text_field deleted;
    nested_field<LocalizationDto> localization;
    list_field<EntityAttributeValueDto> attributeValues;
    text_field customerNumber;
    text_field schemaAppKey;
    uuid_field schemaAppId;
    text_field hash;
    text_field hashSignature;
    text_field hashType;
    uuid_field originalId;
    nested_field<SimpleSchemaAppDto> originalSchemaApp;

    static constexpr auto fields()
    {
        using R = EntityDto;
        return std::tuple{field("id", &R::id),
                          field("entityTypeKey", &R::entityTypeKey),
                          field("entityTypeId", &R::entityTypeId),
                          field("referencedTo", &R::referencedTo),
                          field("stateId", &R::stateId),
                          field("stateKey", &R::stateKey),
                          field("isDraft", &R::isDraft),
                          field("version", &R::version),
                          field("deleted", &R::deleted),
                          field("localization", &R::localization),
                          field("attributeValues", &R::attributeValues),
                          field("customerNumber", &R::customerNumber),
                          field("schemaAppKey", &R::schemaAppKey),
                          field("schemaAppId", &R::schemaAppId),
                          field("hash", &R::hash),
                          field("hashSignature", &R::hashSignature),
                          field("hashType", &R::hashType),
                          field("originalId", &R::originalId),
                          field("originalSchemaApp", &R::originalSchemaApp)};
    }
};

} // namespace tarsion::quorvel::dto
