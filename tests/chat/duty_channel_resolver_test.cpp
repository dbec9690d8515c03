// The duty-channel resolver over a scripted HTTP client: the one query it
// sends, how the first entity becomes a Chat, how the ticket title is chosen,
// and how every SDK failure becomes a chat Error.
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "chat/DutyChannelChatResolver.h"
#include "chat_test_support.h"
#include "sdk/api/BusinessEntitiesQueryApi.h"
#include "sdk/core/tenant.h"
#include "support/pipeline_fakes.h"
#include "support/scripted_http_client.h"
#include "view/EntityDump.h"

namespace QuorvelChatTest {
namespace {

using namespace QuorvelChat;
using tarsion::quorvel::api::BusinessEntitiesQueryApi;
using tarsion::quorvel::dto::EntityDto;
using tarsion::testing::fake_token_factory;
using tarsion::testing::recorded_send;
using tarsion::testing::recorded_waits;
using tarsion::testing::scripted_http_client;
using tarsion::testing::scripted_reply;

constexpr const char* kQueryUrl = "http://svc/api/business/quorvel/b1/v0/entities/query/vector?Skip=0&Take=1";

constexpr const char* kTicketId = "6f1c0a52-3b1e-4d7a-9f00-1234567890ab";

constexpr const char* kTicket =
    R"({"id":"6f1c0a52-3b1e-4d7a-9f00-1234567890ab","entityTypeKey":"BUSINESS_TICKET",)"
    R"("stateKey":"open","version":12,"attributeValues":[{"attributeKey":"TICKET_TITLE",)"
    R"("valueLocales":[{"key":"EN_US","display":"Printer on fire","value":"printer"}]}]})";

constexpr const char* kOtherTicket =
    R"({"id":"00000000-0000-0000-0000-000000000002","stateKey":"closed","version":99,)"
    R"("attributeValues":[{"attributeKey":"TICKET_TITLE",)"
    R"("valueLocales":[{"key":"EN_US","display":"Second"}]}]})";

EntityDto entityFromJson(const std::string& json)
{
    auto parsed = BusinessEntitiesQueryApi::entities_from("[" + json + "]");
    if (!parsed || parsed->size() != 1) {
        ADD_FAILURE() << "test entity does not parse: " << json;
        return {};
    }
    return parsed->front();
}

std::string array(std::initializer_list<const char*> entities)
{
    std::string out = "[";
    for (const char* e : entities) {
        if (out.size() > 1)
            out += ",";
        out += e;
    }
    return out + "]";
}

scripted_reply ok(std::string body)
{
    return {200, std::move(body), {{"Content-Type", "application/json"}}, 0};
}

class DutyChannelResolverTest : public ::testing::Test
{
protected:
    // A tenant like the assembled one: business b1, the system's retry
    // policy, a token "tok" that renews to itself (so a 401 stays a 401).
    std::shared_ptr<tarsion::tenant> makeTenant(std::shared_ptr<tarsion::http::http_base> http,
                                                tarsion::expected<std::string> renewal = std::string("tok"))
    {
        auto made = std::make_shared<tarsion::tenant>(
            tarsion::testing::system_settings(std::move(http), "http://svc/", "b1"),
            std::make_unique<fake_token_factory>("tok", std::move(renewal)));
        made->sleep = waits.function();
        return made;
    }

    Result<Chat> resolveWith(std::vector<scripted_reply> script, quint32 principalKind = 0,
                             EntityDumper dumper = {})
    {
        client = std::make_shared<scripted_http_client>(std::move(script));
        DutyChannelChatResolver resolver(makeTenant(client), principalKind, QStringLiteral("EN_US"),
                                         std::move(dumper));
        return resolver.resolve();
    }

    std::vector<recorded_send> sends() const
    {
        if (!client)
            return {};
        return client->sends();
    }

    std::shared_ptr<scripted_http_client> client;
    recorded_waits waits;
};

// ---------------------------------------------------------------- the request

TEST_F(DutyChannelResolverTest, SendsOneQueryForTheDefaultChannelTicket)
{
    const auto result = resolveWith({ok("[]")});
    EXPECT_FALSE(result.hasValue());

    const auto sent = sends();
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0].verb, "POST");
    EXPECT_EQ(sent[0].url, kQueryUrl);
    EXPECT_EQ(sent[0].headers, (tarsion::http::header_list{{"Content-Type", "application/json"},
                                                           {"Authorization", "Bearer tok"}}));
    ASSERT_TRUE(sent[0].had_body);
    EXPECT_EQ(sent[0].body, kDutyChannelQueryBody);
    EXPECT_FALSE(sent[0].disable_redirects);
    EXPECT_EQ(sent[0].transport_option, 0);
}

TEST(DutyChannelQuery, AsksForTheGivenLocaleInFilterAndOptions)
{
    const std::string body = BusinessEntitiesQueryApi::body(dutyChannelQuery("DE_DE"));
    EXPECT_NE(body.find(R"("locales":["DE_DE"])"), std::string::npos) << body;
    EXPECT_NE(body.find(R"("includeLocales":["DE_DE"])"), std::string::npos) << body;
    EXPECT_EQ(body.find("EN_US"), std::string::npos) << body;
}

TEST_F(DutyChannelResolverTest, CustomerPrincipalSendsNothingAndIsNotImplemented)
{
    const auto result = resolveWith({ok(array({kTicket}))}, 1);
    ASSERT_FALSE(result.hasValue());
    EXPECT_EQ(result.error(),
              (Error{ErrorKind::NotImplemented,
                     QString::fromUtf8("DutyChannelChatResolver: Customer endpoint not wired yet "
                                       "(needs CustomerEntityDto mapping \xE2\x80\x94 see S2 "
                                       "backlog)"),
                     -1}));
    EXPECT_TRUE(sends().empty());
}

TEST_F(DutyChannelResolverTest, AnyOtherPrincipalKindIsTheSignedInUser)
{
    const auto result = resolveWith({ok(array({kTicket}))}, 2);
    ASSERT_TRUE(result.hasValue()) << ::testing::PrintToString(result.error());
    EXPECT_EQ(sends().size(), 1u);
}

// ---------------------------------------------------------------- the chat

TEST_F(DutyChannelResolverTest, FirstOfTheEntitiesBecomesTheChat)
{
    std::vector<std::string> dumped;
    const auto result = resolveWith({ok(array({kTicket, kOtherTicket}))}, 0, [&](const EntityDto& entity) {
        dumped.push_back(entity.stateKey.value_or("?"));
        return QStringLiteral("dump of ") + QString::fromStdString(entity.stateKey.value_or("?"));
    });
    ASSERT_TRUE(result.hasValue()) << ::testing::PrintToString(result.error());
    const Chat& chat = result.value();
    EXPECT_EQ(chat.id, QUuid::fromString(QLatin1String(kTicketId)));
    EXPECT_EQ(chat.kind, ChatKind::BusinessTicket);
    EXPECT_EQ(chat.title, QStringLiteral("Printer on fire"));
    EXPECT_EQ(chat.businessId, QStringLiteral("b1"));
    EXPECT_EQ(chat.stateKey, QStringLiteral("open"));
    EXPECT_TRUE(chat.isDefaultChannel);
    EXPECT_EQ(chat.version, 12);
    EXPECT_EQ(chat.rawDump, QStringLiteral("dump of open"));
    // The second entity is never looked at.
    EXPECT_EQ(dumped, std::vector<std::string>{"open"});
    // Reserved for later producers.
    EXPECT_TRUE(chat.auxText.isEmpty());
    EXPECT_TRUE(chat.auxTime1.isNull());
    EXPECT_TRUE(chat.auxTime2.isNull());
}

TEST_F(DutyChannelResolverTest, BareEntityGivesANullIdNoTitleAndZeroVersion)
{
    // No dumper either: the dump stays empty.
    const auto result = resolveWith({ok("[{\"stateKey\":\"gepr\xC3\xBC"
                                        "ft\"}]")});
    ASSERT_TRUE(result.hasValue()) << ::testing::PrintToString(result.error());
    const Chat& chat = result.value();
    EXPECT_TRUE(chat.id.isNull());
    EXPECT_EQ(chat.kind, ChatKind::BusinessTicket);
    EXPECT_TRUE(chat.title.isEmpty());
    EXPECT_EQ(chat.businessId, QStringLiteral("b1"));
    EXPECT_EQ(chat.stateKey, QString::fromUtf8("gepr\xC3\xBC"
                                               "ft"));
    EXPECT_TRUE(chat.isDefaultChannel);
    EXPECT_EQ(chat.version, 0);
    EXPECT_TRUE(chat.rawDump.isEmpty());
}

TEST_F(DutyChannelResolverTest, EmptyListMeansNoDutyChannel)
{
    const auto result = resolveWith({ok("[]")});
    ASSERT_FALSE(result.hasValue());
    EXPECT_EQ(result.error(),
              (Error{ErrorKind::NotFound,
                     QStringLiteral("No default duty channel (IS_DEFAULT_CHANNEL=TRUE) found for current "
                                    "principal"),
                     -1}));
}

TEST_F(DutyChannelResolverTest, ConcurrentResolutionsShareOneResolverSafely)
{
    client =
        std::make_shared<scripted_http_client>([](const recorded_send&) { return ok(array({kTicket})); });
    DutyChannelChatResolver resolver(makeTenant(client), 0, QStringLiteral("EN_US"),
                                     &QuorvelChat::dumpEntity);
    const QString expectedDump = dumpEntity(entityFromJson(kTicket));

    constexpr int kThreads = 4;
    std::vector<std::optional<Result<Chat>>> results(kThreads);
    std::vector<std::unique_ptr<QThread>> threads;
    for (int i = 0; i < kThreads; ++i)
        threads.emplace_back(QThread::create([&, i] { results[i] = resolver.resolve(); }));
    for (auto& t : threads)
        t->start();
    for (auto& t : threads)
        ASSERT_TRUE(t->wait(QDeadlineTimer(kWatchdog))) << "watchdog";

    for (const auto& r : results) {
        ASSERT_TRUE(r.has_value());
        ASSERT_TRUE(r->hasValue()) << ::testing::PrintToString(r->error());
        EXPECT_EQ(r->value().title, QStringLiteral("Printer on fire"));
        EXPECT_EQ(r->value().rawDump, expectedDump);
    }
    EXPECT_EQ(client->sends().size(), size_t(kThreads));
}

// ---------------------------------------------------------------- title choice

struct TitleRow
{
    const char* name;
    const char* entity;
    const char* title;
};

void PrintTo(const TitleRow& row, std::ostream* out)
{
    *out << row.name;
}

class TicketTitleTest : public ::testing::TestWithParam<TitleRow>
{
};

TEST_P(TicketTitleTest, ChoosesTheTitleInEnglish)
{
    const EntityDto entity = entityFromJson(GetParam().entity);
    EXPECT_EQ(ticketTitle(entity, "EN_US"), QString::fromUtf8(GetParam().title));
}

#define TITLE_ENTITY(values) R"({"attributeValues":[)" values R"(]})"
// A TICKET_TITLE attribute with the given locale entries.
#define TITLE(locales) R"({"attributeKey":"TICKET_TITLE","valueLocales":[)" locales R"(]})"

INSTANTIATE_TEST_SUITE_P(
    Cases, TicketTitleTest,
    ::testing::Values(
        TitleRow{"DisplayWinsWhenNotEmpty",
                 TITLE_ENTITY(TITLE(R"({"key":"EN_US","display":"Shown","value":"raw"})")), "Shown"},
        TitleRow{"EmptyDisplayFallsBackToValue",
                 TITLE_ENTITY(TITLE(R"({"key":"EN_US","display":"","value":"raw"})")), "raw"},
        TitleRow{"MissingDisplayFallsBackToValue", TITLE_ENTITY(TITLE(R"({"key":"EN_US","value":"raw"})")),
                 "raw"},
        TitleRow{"NeitherDisplayNorValueIsEmpty", TITLE_ENTITY(TITLE(R"({"key":"EN_US"})")), ""},
        TitleRow{"DuplicateTicketTitleTakesTheFirst",
                 TITLE_ENTITY(TITLE(R"({"key":"EN_US","display":"first"})") "," TITLE(
                     R"({"key":"EN_US","display":"second"})")),
                 "first"},
        TitleRow{"FirstTicketTitleDecidesEvenWithoutLocales",
                 TITLE_ENTITY(
                     R"({"attributeKey":"TICKET_TITLE"},)" TITLE(R"({"key":"EN_US","display":"second"})")),
                 ""},
        TitleRow{"FirstTicketTitleDecidesEvenWithoutEnglish",
                 TITLE_ENTITY(TITLE(R"({"key":"DE_DE","display":"erster"})") "," TITLE(
                     R"({"key":"EN_US","display":"second"})")),
                 ""},
        TitleRow{"LowerCaseKeyIsAnotherAttribute",
                 TITLE_ENTITY(R"({"attributeKey":"ticket_title","valueLocales":[)"
                              R"({"key":"EN_US","display":"lower"}]})"),
                 ""},
        TitleRow{"OtherAttributesAndKeylessOnesAreSkipped",
                 TITLE_ENTITY(R"({"valueLocales":[{"key":"EN_US","display":"keyless"}]},)"
                              R"({"attributeKey":"PRIORITY","valueLocales":[)"
                              R"({"key":"EN_US","display":"high"}]},)" TITLE(
                                  R"({"key":"EN_US","display":"the title"})")),
                 "the title"},
        TitleRow{"LocaleKeyIsCaseSensitive",
                 TITLE_ENTITY(TITLE(R"({"key":"en_us","display":"lower locale"})")), ""},
        TitleRow{"LocaleEntryWithoutKeyIsSkipped",
                 TITLE_ENTITY(TITLE(R"({"display":"no key"},{"key":"EN_US","display":"keyed"})")), "keyed"},
        TitleRow{"FirstEnglishEntryWins",
                 TITLE_ENTITY(TITLE(R"({"key":"DE_DE","display":"de"},{"key":"EN_US","display":""},)"
                                    R"({"key":"EN_US","display":"later"})")),
                 ""},
        TitleRow{"NoAttributeValuesIsEmpty", R"({"stateKey":"open"})", ""},
        TitleRow{"Utf8IsDecoded",
                 TITLE_ENTITY(TITLE("{\"key\":\"EN_US\",\"display\":\"Gr\xC3\xBC\xC3\x9F"
                                    "e\"}")),
                 "Gr\xC3\xBC\xC3\x9F"
                 "e"}),
    [](const ::testing::TestParamInfo<TitleRow>& info) { return std::string(info.param.name); });

#undef TITLE
#undef TITLE_ENTITY

TEST(TicketTitle, IsReadInTheLocaleAskedFor)
{
    const EntityDto entity =
        entityFromJson(R"({"attributeValues":[{"attributeKey":"TICKET_TITLE","valueLocales":[)"
                       R"({"key":"EN_US","display":"Printer"},{"key":"DE_DE","display":"Drucker"}]}]})");
    EXPECT_EQ(ticketTitle(entity, "DE_DE"), QStringLiteral("Drucker"));
    EXPECT_EQ(ticketTitle(entity, "EN_US"), QStringLiteral("Printer"));
    EXPECT_EQ(ticketTitle(entity, "FR_FR"), QString());
}

// ---------------------------------------------------------------- error mapping

// The SDK's kind decides first (missing configuration, transport, token
// renewal); only then does the status; the code and message are kept as sent.
TEST(ErrorFromSdk, MapsKindFirstThenStatusAndKeepsCodeAndMessage)
{
    struct Row
    {
        std::uint32_t sdkKind;
        std::uint32_t code;
        ErrorKind kind;
    };
    const Row rows[] = {
        {2, 404, ErrorKind::Validation}, {4, 404, ErrorKind::Network},     {4, 503, ErrorKind::Network},
        {6, 500, ErrorKind::Auth},       {5, 401, ErrorKind::Auth},        {5, 403, ErrorKind::Auth},
        {5, 404, ErrorKind::NotFound},   {5, 409, ErrorKind::Conflict},    {5, 400, ErrorKind::Validation},
        {5, 422, ErrorKind::Validation}, {5, 500, ErrorKind::ServerError}, {5, 599, ErrorKind::ServerError},
        {5, 499, ErrorKind::Unknown},    {5, 600, ErrorKind::Unknown},     {5, 402, ErrorKind::Unknown},
        {7, 0, ErrorKind::Unknown},      {7, 404, ErrorKind::NotFound},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(::testing::Message() << "kind " << row.sdkKind << ", code " << row.code);
        const tarsion::error sdk{row.sdkKind, row.code, "sdk says \xE2\x80\x94 no", {{"X-Id", "1"}}};
        EXPECT_EQ(errorFromSdk(sdk),
                  (Error{row.kind, QString::fromUtf8("sdk says \xE2\x80\x94 no"), qint32(row.code)}));
    }
}

Error err(ErrorKind kind, const char* message, qint32 code)
{
    return Error{kind, QString::fromUtf8(message), code};
}

// One reply per way the exchange can fail, through the whole call path: one
// send, no retry wait (a POST is never retried), the mapped error. The status
// mapping itself is the table above's business.
TEST_F(DutyChannelResolverTest, EachFailedExchangeIsSentOnceAndMapped)
{
    const std::pair<scripted_reply, Error> rows[] = {
        {{401, "expired", {}, 0}, err(ErrorKind::Auth, "expired", 401)},
        {{503, "busy", {}, 0}, err(ErrorKind::ServerError, "busy", 503)},
        {{200, "<html>maintenance</html>", {{"Content-Type", "text/html"}}, 0},
         err(ErrorKind::Unknown, "<html>maintenance</html>", 0)},
        {{200, R"({"a":1})", {}, 0}, err(ErrorKind::Unknown, R"({"a":1})", 0)},
        {{0, {}, {}, 99}, err(ErrorKind::Network, "", 99)},
    };
    for (const auto& [reply, expected] : rows) {
        SCOPED_TRACE(reply.body);
        client =
            std::make_shared<scripted_http_client>([reply = reply](const recorded_send&) { return reply; });
        DutyChannelChatResolver resolver(makeTenant(client), 0, QStringLiteral("EN_US"));
        const auto result = resolver.resolve();
        ASSERT_FALSE(result.hasValue());
        EXPECT_EQ(result.error(), expected);
        EXPECT_EQ(client->sends().size(), 1u);
        EXPECT_TRUE(waits.waits().empty());
    }
}

TEST_F(DutyChannelResolverTest, FailedTokenRenewalIsAuth)
{
    client = std::make_shared<scripted_http_client>(std::vector<scripted_reply>{{401, "expired", {}, 0}});
    DutyChannelChatResolver resolver(
        makeTenant(client, tarsion::make_error(tarsion::error_kind::http_status, 400, "renewal refused")), 0,
        QStringLiteral("EN_US"));
    const auto result = resolver.resolve();
    ASSERT_FALSE(result.hasValue());
    EXPECT_EQ(result.error(), err(ErrorKind::Auth, "renewal refused", 400));
    EXPECT_EQ(client->sends().size(), 1u);
}

TEST_F(DutyChannelResolverTest, TenantWithoutHttpClientIsValidation)
{
    DutyChannelChatResolver resolver(makeTenant(nullptr), 0, QStringLiteral("EN_US"));
    const auto result = resolver.resolve();
    ASSERT_FALSE(result.hasValue());
    EXPECT_EQ(result.error(), err(ErrorKind::Validation, "No http client to send request.", 0));
}

} // namespace
} // namespace QuorvelChatTest
