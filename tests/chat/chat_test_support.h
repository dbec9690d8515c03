#pragma once

#include <ostream>

#include "chat/ErrorKind.h"
#include "chat/Result.h"

namespace QuorvelChat {

// Readable failure output.
inline void PrintTo(const Error& error, std::ostream* out)
{
    *out << "{" << errorKindText(error.kind).toStdString() << ", \"" << error.message.toStdString() << "\", "
         << error.httpCode << "}";
}

} // namespace QuorvelChat

namespace QuorvelChatTest {

// What the service must receive for the duty channel in EN_US, byte for byte.
inline constexpr const char* kDutyChannelQueryBody =
    R"({"entitiesByEntityTypesWithInheritance":false,)"
    R"("entitiesByAttributeValues":[{"attributeKey":"IS_DEFAULT_CHANNEL","operator":"Equals",)"
    R"("value":"TRUE","ignoreCase":true,"locales":["EN_US"]}],)"
    R"("entitiesByEntityTypeKeys":["BUSINESS_TICKET"],)"
    R"("entitiesOptions":{"includeAttributeValuesByAttributeKeys":["TICKET_TITLE"],)"
    R"("includeLocales":["EN_US"],"includeReferences":true,"includeEntityState":true}})";

} // namespace QuorvelChatTest
