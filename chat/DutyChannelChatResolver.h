#pragma once

#include <memory>
#include <string>

#include "chat/EntityDumper.h"
#include "chat/IChatResolver.h"
#include "sdk/dto/BusinessEntitiesQueryDto.h"
#include "sdk/dto/EntityDto.h"

namespace tarsion {
class tenant;
struct error;
} // namespace tarsion

namespace QuorvelChat {

// Resolves the signed-in principal's duty channel: the business ticket marked
// as its default channel. Sends one query, takes the first entity and turns
// it into a Chat, or turns the SDK's failure into an Error. Keeps no state
// between calls, so it may run on several threads at once.
class DutyChannelChatResolver final : public IChatResolver
{
public:
    // principalKind 1 is a customer, whose endpoint is not built; `dump`
    // renders the entity into Chat::rawDump (left empty without one).
    DutyChannelChatResolver(std::shared_ptr<tarsion::tenant> tenant, quint32 principalKind, QString locale,
                            EntityDumper dump = {});

    Result<Chat> resolve() override;

private:
    std::shared_ptr<tarsion::tenant> tenant;
    quint32 principalKind;
    QString locale;
    EntityDumper dump;
};

// The query for the duty channel in the given locale (UTF-8).
tarsion::quorvel::dto::BusinessEntitiesQueryDto dutyChannelQuery(const std::string& locale);

// The "TICKET_TITLE" attribute's text in `locale`: its display when not
// empty, else its value; empty when there is none.
QString ticketTitle(const tarsion::quorvel::dto::EntityDto& entity, const std::string& locale);

// The chat-layer form of an SDK failure; the SDK's kind decides before the
// status does.
Error errorFromSdk(const tarsion::error& error);

} // namespace QuorvelChat
