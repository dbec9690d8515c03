// The duty-channel resolver over a scripted HTTP client: how the ticket title
// is chosen and how every SDK failure becomes a chat Error. The request it
// sends and the chat it makes are checked over the Qt chain.
#include <memory>
#include <string>
#include <tuple>

#include <gtest/gtest.h>

#include "chat/ChatKind.h"
#include "chat/DutyChannelChatResolver.h"
#include "chat_test_support.h"
#include "sdk/api/BusinessEntitiesQueryApi.h"
#include "sdk/core/tenant.h"
#include "support/pipeline_fakes.h"
#include "support/scripted_http_client.h"

namespace QuorvelChatTest {
namespace {

using namespace QuorvelChat;
using tarsion::testing::scripted_http_client;
using tarsion::testing::scripted_reply;

Error err(ErrorKind kind, const char* message, qint32 code)
{
    return Error{kind, QString::fromUtf8(message), code};
}

// A TICKET_TITLE attribute with the given locale entries.
#define TITLE(locales) R"({"attributeKey":"TICKET_TITLE","valueLocales":[)" locales R"(]})"

TEST(TicketTitle, IsTheFirstTitlesEntryInTheLocaleDisplayBeforeValue)
{
    // Attributes, locale, title.
    const std::tuple<const char*, const char*, const char*> rows[] = {
        {TITLE(R"({"key":"EN_US","display":"Shown","value":"raw"})"), "EN_US", "Shown"},
        {TITLE(R"({"key":"EN_US","display":"","value":"raw"})"), "EN_US", "raw"},
        {TITLE(R"({"key":"EN_US","value":"raw"})"), "EN_US", "raw"},
        {TITLE(R"({"key":"EN_US","display":"Printer"},{"key":"DE_DE","display":"Drucker"})"), "DE_DE",
         "Drucker"},
        {TITLE(R"({"display":"no key"},{"key":"EN_US","display":""},{"key":"EN_US","display":"later"})"),
         "EN_US", ""},
        {R"({"attributeKey":"ticket_title","valueLocales":[{"key":"EN_US","display":"x"}]},)"
         R"({"attributeKey":"PRIORITY","valueLocales":[{"key":"EN_US","display":"high"}]},)" TITLE(
             R"({"key":"DE_DE","display":"erster"})") "," TITLE(R"({"key":"EN_US","display":"second"})"),
         "EN_US", ""},
        // No title attribute, or one without locales.
        {R"({"attributeKey":"PRIORITY","valueLocales":[]})", "EN_US", ""},
        {R"({"attributeKey":"TICKET_TITLE"})", "EN_US", ""},
    };
    for (const auto& [attributes, locale, title] : rows) {
        SCOPED_TRACE(attributes);
        const std::string json = std::string(R"([{"attributeValues":[)") + attributes + "]}]";
        const auto entities = tarsion::quorvel::api::BusinessEntitiesQueryApi::entities_from(json);
        ASSERT_TRUE(entities.has_value() && entities->size() == 1u);
        EXPECT_EQ(ticketTitle(entities->front(), locale), QString::fromUtf8(title));
    }
}

#undef TITLE

// The SDK's kind decides first (missing configuration, transport, token
// renewal); only then does the status; the code and message are kept as sent.
TEST(ErrorFromSdk, MapsKindFirstThenStatusAndKeepsCodeAndMessage)
{
    const std::tuple<std::uint32_t, std::uint32_t, ErrorKind> rows[] = {
        {2, 404, ErrorKind::Validation},  {4, 404, ErrorKind::Network},     {6, 500, ErrorKind::Auth},
        {5, 401, ErrorKind::Auth},        {5, 403, ErrorKind::Auth},        {5, 404, ErrorKind::NotFound},
        {5, 409, ErrorKind::Conflict},    {5, 400, ErrorKind::Validation},  {5, 422, ErrorKind::Validation},
        {5, 500, ErrorKind::ServerError}, {5, 599, ErrorKind::ServerError}, {5, 499, ErrorKind::Unknown},
        {5, 600, ErrorKind::Unknown},     {5, 402, ErrorKind::Unknown},     {7, 404, ErrorKind::NotFound},
    };
    for (const auto& [sdkKind, code, kind] : rows) {
        SCOPED_TRACE(::testing::Message() << "kind " << sdkKind << ", code " << code);
        const tarsion::error sdk{sdkKind, code, "sdk says \xE2\x80\x94 no", {{"X-Id", "1"}}};
        EXPECT_EQ(errorFromSdk(sdk), err(kind, "sdk says \xE2\x80\x94 no", qint32(code)));
    }
}

// The names the view prints, one per value in the enumerations' order, and
// "?" for a value outside them.
TEST(KindTexts, EveryValueHasItsOwnNameAndAnyOtherAQuestionMark)
{
    const QStringList errorKinds{"Network",     "Auth",     "NotFound",       "Conflict", "Validation",
                                 "ServerError", "Canceled", "NotImplemented", "Unknown",  "?"};
    const QStringList chatKinds{"Unknown", "BusinessTicket", "Subject", "UserProfile", "?"};
    for (int value = 0; value < errorKinds.size(); ++value)
        EXPECT_EQ(errorKindText(ErrorKind(value)), errorKinds[value]) << value;
    for (int value = 0; value < chatKinds.size(); ++value)
        EXPECT_EQ(chatKindText(ChatKind(value)), chatKinds[value]) << value;
}

// A result nobody filled reports a failure.
TEST(ResultTest, ADefaultResultHoldsAnUnknownError)
{
    const Result<Chat> result;
    EXPECT_FALSE(result.hasValue());
    EXPECT_EQ(result.error(), err(ErrorKind::Unknown, "", -1));
}

// One reply per way the exchange can fail, through the tenant the chain
// uses (the SDK's own retry policy): one send, no retry wait, since a POST
// is never retried, and the mapped error.
TEST(DutyChannelResolver, EachFailedExchangeIsSentOnceAndMapped)
{
    // The reply, the token renewal's outcome and the error.
    const std::tuple<scripted_reply, tarsion::expected<std::string>, Error> rows[] = {
        {{401, "expired", {}, 0}, std::string("tok"), err(ErrorKind::Auth, "expired", 401)},
        {{401, "expired", {}, 0},
         tarsion::make_error(tarsion::error_kind::http_status, 400, "renewal refused"),
         err(ErrorKind::Auth, "renewal refused", 400)},
        {{503, "busy", {}, 0}, std::string("tok"), err(ErrorKind::ServerError, "busy", 503)},
        {{200, R"({"a":1})", {}, 0}, std::string("tok"), err(ErrorKind::Unknown, R"({"a":1})", 0)},
    };
    for (const auto& [reply, renewal, error] : rows) {
        SCOPED_TRACE(reply.body);
        auto client = std::make_shared<scripted_http_client>([reply = reply](const auto&) { return reply; });
        auto tenant = std::make_shared<tarsion::tenant>(
            tarsion::testing::system_settings(client, "http://svc/", "b1"),
            std::make_unique<tarsion::testing::fake_token_factory>("tok", renewal));
        tenant->sleep = [](std::uint32_t) { ADD_FAILURE() << "a POST waited to be sent again"; };
        const auto result = DutyChannelChatResolver(tenant, 0, QStringLiteral("EN_US")).resolve();
        ASSERT_FALSE(result.hasValue());
        EXPECT_EQ(result.error(), error);
        EXPECT_EQ(client->sends().size(), 1u);
    }
    // A customer's duty channel is not built yet; any other principal needs a tenant to ask.
    for (const quint32 principal : {0u, 1u, 2u})
        EXPECT_EQ(DutyChannelChatResolver(nullptr, principal, {}).resolve().error().kind,
                  principal == 1 ? ErrorKind::NotImplemented : ErrorKind::Validation);
}

} // namespace
} // namespace QuorvelChatTest
