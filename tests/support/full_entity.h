#pragma once

// Something in every field of an entity, each member a value of its own, in
// the order the entity's field table writes them: a read that mixes two
// fields up, or keeps one from before, shows.

namespace tarsion::testing {

inline constexpr const char* kFullEntity =
    R"({"id":"00000000-0000-0000-0000-000000000001","entityTypeKey":"T","entityTypeId":)"
    R"("00000000-0000-0000-0000-000000000002","referencedTo":[{"key":"r"}],"stateId":)"
    R"("00000000-0000-0000-0000-000000000003","stateKey":"S","isDraft":true,"version":9,"deleted":"d",)"
    R"("localization":{"stateKey":"L","localeStates":{"en":"x"}},)"
    R"("attributeValues":[{"attributeKey":"a","valueLocales":[{"key":"en"}]}],)"
    R"("customerNumber":"c","schemaAppKey":"k","schemaAppId":"00000000-0000-0000-0000-000000000004",)"
    R"("hash":"h","hashSignature":"s","hashType":"t","originalId":"00000000-0000-0000-0000-000000000005",)"
    R"("originalSchemaApp":{"key":"o","version":"1"}})";

} // namespace tarsion::testing
