#include "chat/DutyChannelChatResolver.h"

#include <algorithm>

#include <QUuid>

#include "sdk/api/BusinessEntitiesQueryApi.h"
#include "sdk/core/tenant.h"
#include "sdk/json/uuid.h"
#include "sdk/qt/TransportErrors.h"

namespace QuorvelChat {
namespace {

using namespace tarsion::quorvel::dto;

constexpr quint32 kCustomerPrincipal = 1;
constexpr const char* kTitleAttribute = "TICKET_TITLE";

QString fromUtf8(const std::string& text)
{
    return QString::fromUtf8(text.data(), qsizetype(text.size()));
}

QUuid toQUuid(const tarsion::uuid& id)
{
    return QUuid::fromString(QLatin1String(tarsion::format_uuid(id)));
}

template <class T>
bool equals(const std::optional<T>& field, const std::string& text)
{
    return field.has_value() && *field == text;
}

} // namespace

DutyChannelChatResolver::DutyChannelChatResolver(std::shared_ptr<tarsion::tenant> sdkTenant, quint32 kind,
                                                 QString chatLocale, EntityDumper dumper)
    : tenant(std::move(sdkTenant))
    , principalKind(kind)
    , locale(std::move(chatLocale))
    , dump(std::move(dumper))
{
}

BusinessEntitiesQueryDto dutyChannelQuery(const std::string& locale)
{
    const std::vector<std::string> locales{locale};

    AttributeValueQueryFilterDto isDefaultChannel;
    isDefaultChannel.attributeKey = "IS_DEFAULT_CHANNEL";
    isDefaultChannel.operator_ = "Equals";
    isDefaultChannel.value = "TRUE";
    isDefaultChannel.ignoreCase = true;
    isDefaultChannel.locales = locales;

    EntitiesOptionsDto options;
    options.includeAttributeValuesByAttributeKeys = std::vector<std::string>{kTitleAttribute};
    options.includeLocales = locales;
    options.includeReferences = true;
    options.includeEntityState = true;

    BusinessEntitiesQueryDto query;
    query.entitiesByEntityTypeKeys = std::vector<std::string>{"BUSINESS_TICKET"};
    // Present and false: subtypes of the ticket type are not wanted.
    query.entitiesByEntityTypesWithInheritance = false;
    query.entitiesByAttributeValues = std::vector{isDefaultChannel};
    query.entitiesOptions = std::move(options);
    return query;
}

QString ticketTitle(const EntityDto& entity, const std::string& locale)
{
    if (!entity.attributeValues)
        return {};
    const auto& values = *entity.attributeValues;
    const auto attribute = std::ranges::find_if(
        values, [](const EntityAttributeValueDto& v) { return equals(v.attributeKey, kTitleAttribute); });
    if (attribute == values.end() || !attribute->valueLocales)
        return {};
    const auto& localized = *attribute->valueLocales;
    const auto entry =
        std::ranges::find_if(localized, [&](const ValueLocaleDto& l) { return equals(l.key, locale); });
    if (entry == localized.end())
        return {};
    if (entry->display && !entry->display->empty())
        return fromUtf8(*entry->display);
    return entry->value ? fromUtf8(*entry->value) : QString();
}

Error errorFromSdk(const tarsion::error& error)
{
    Error mapped{ErrorKind::Unknown, fromUtf8(error.message), qint32(error.code)};
    const std::uint32_t code = error.code;
    if (error.kind == tarsion::error_kind::missing_configuration)
        mapped.kind = ErrorKind::Validation;
    else if (error.kind == tarsion::error_kind::transport) {
        mapped.kind = ErrorKind::Network;
        // The transport gives a number; a person needs words.
        if (mapped.message.isEmpty())
            mapped.message = QuorvelSdk::TransportError::describe(qint32(code));
    } else if (error.kind == tarsion::error_kind::token_renewal_status || code == 401 || code == 403)
        mapped.kind = ErrorKind::Auth;
    else if (code == 404)
        mapped.kind = ErrorKind::NotFound;
    else if (code == 409)
        mapped.kind = ErrorKind::Conflict;
    else if (code == 400 || code == 422)
        mapped.kind = ErrorKind::Validation;
    else if (code >= 500 && code <= 599)
        mapped.kind = ErrorKind::ServerError;
    return mapped;
}

Result<Chat> DutyChannelChatResolver::resolve()
{
    if (principalKind == kCustomerPrincipal)
        return Error{ErrorKind::NotImplemented,
                     QStringLiteral("DutyChannelChatResolver: Customer endpoint not wired yet "
                                    "(needs CustomerEntityDto mapping \u2014 see S2 backlog)"),
                     -1};

    const std::string localeText = locale.toStdString();
    const tarsion::quorvel::api::BusinessEntitiesQueryApi api(tenant);
    const auto entities = api.query_vector(dutyChannelQuery(localeText), 0, 1);
    if (!entities)
        return errorFromSdk(entities.error());
    if (entities->empty())
        return Error{ErrorKind::NotFound,
                     QStringLiteral("No default duty channel (IS_DEFAULT_CHANNEL=TRUE) found for "
                                    "current principal"),
                     -1};

    const EntityDto& entity = entities->front();
    Chat chat;
    if (entity.id)
        chat.id = toQUuid(*entity.id);
    chat.kind = ChatKind::BusinessTicket;
    chat.title = ticketTitle(entity, localeText);
    chat.businessId = tenant ? fromUtf8(tenant->business_id) : QString();
    chat.stateKey = entity.stateKey ? fromUtf8(*entity.stateKey) : QString();
    chat.isDefaultChannel = true;
    chat.version = entity.version.value_or(0);
    if (dump)
        chat.rawDump = dump(entity);
    return chat;
}

} // namespace QuorvelChat
