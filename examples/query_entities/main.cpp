// Lists the tickets of one business with the SDK alone: a token from the
// OAuth 2 client-credentials grant, a tenant over a plain socket client, and
// one entities query.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <iterator>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "SocketHttpClient.h"
#include "sdk/api/BusinessEntitiesQueryApi.h"
#include "sdk/api/query_string.h"
#include "sdk/core/c_random.h"
#include "sdk/core/error.h"
#include "sdk/core/string_body.h"
#include "sdk/core/standard_retry_policy.h"
#include "sdk/core/tenant.h"
#include "sdk/core/token_factory.h"
#include "sdk/json/json_getters.h"
#include "sdk/json/json_reader.h"
#include "sdk/json/uuid.h"

namespace {

using tarsion::quorvel::dto::BusinessEntitiesQueryDto;
using tarsion::quorvel::dto::EntitiesOptionsDto;
using tarsion::quorvel::dto::EntityAttributeValueDto;
using tarsion::quorvel::dto::EntityDto;
using tarsion::quorvel::dto::ValueLocaleDto;

constexpr const char* kProgram = "query_entities";
constexpr const char* kSecretVariable = "QUORVEL_CLIENT_SECRET";
constexpr const char* kTicketType = "BUSINESS_TICKET";
constexpr const char* kTitleAttribute = "TICKET_TITLE";
constexpr const char* kLocale = "EN_US";
constexpr std::uint32_t kTake = 10;
// Service text in an error message is cut here, as a reply body can be huge.
constexpr std::size_t kMaxMessageBytes = 2000;

constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

constexpr const char* kUsage =
    "Usage: query_entities --base-url URL --business-id ID --token-url URL --client-id ID\n"
    "\n"
    "Lists up to 10 BUSINESS_TICKET entities of one business: id, entity type,\n"
    "state and EN_US title, tab-separated, then a count.\n"
    "\n"
    "  --base-url URL      the entity service, e.g. http://127.0.0.1:8080\n"
    "  --business-id ID    the business whose entities are listed\n"
    "  --token-url URL     the OAuth 2 token endpoint\n"
    "  --client-id ID      the OAuth 2 client\n"
    "  --help              prints this text\n"
    "\n"
    "The client secret is read from the environment variable QUORVEL_CLIENT_SECRET,\n"
    "never from the command line, where other users of the machine could see it.\n"
    "Only plain http:// URLs are supported.\n"
    "\n"
    "Exit status: 0 on success, 1 when the service or the network fails, 2 on bad\n"
    "arguments.\n";

// The length of the valid UTF-8 sequence at the start of `text`, or 0.
std::size_t utf8SequenceLength(std::string_view text, char32_t& codePoint)
{
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(0);
    std::size_t length = 0;
    char32_t minimum = 0;
    if (lead < 0x80) {
        codePoint = lead;
        return 1;
    }
    if (lead >= 0xc2 && lead <= 0xdf) {
        length = 2;
        minimum = 0x80;
        codePoint = lead & 0x1fu;
    } else if (lead >= 0xe0 && lead <= 0xef) {
        length = 3;
        minimum = 0x800;
        codePoint = lead & 0x0fu;
    } else if (lead >= 0xf0 && lead <= 0xf4) {
        length = 4;
        minimum = 0x10000;
        codePoint = lead & 0x07u;
    } else {
        return 0;
    }
    if (text.size() < length)
        return 0;
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xc0u) != 0x80u)
            return 0;
        codePoint = (codePoint << 6) | (byte(i) & 0x3fu);
    }
    const bool surrogate = codePoint >= 0xd800 && codePoint <= 0xdfff;
    return codePoint < minimum || codePoint > 0x10ffff || surrogate ? 0 : length;
}

// Text from the service goes to a terminal, where control characters (C0,
// DEL and C1) could move the cursor or rewrite what was printed; they and any
// byte that is not UTF-8 print as "?".
std::string printable(std::string_view text)
{
    std::string out;
    out.reserve(text.size());
    while (!text.empty()) {
        char32_t codePoint = 0;
        const std::size_t length = utf8SequenceLength(text, codePoint);
        const bool control = codePoint < 0x20 || (codePoint >= 0x7f && codePoint <= 0x9f);
        if (length == 0 || control) {
            out += '?';
            text.remove_prefix(length == 0 ? 1 : length);
            continue;
        }
        out.append(text.substr(0, length));
        text.remove_prefix(length);
    }
    return out;
}

std::string printableMessage(const std::string& text)
{
    if (text.size() <= kMaxMessageBytes)
        return printable(text);
    return printable(std::string_view(text).substr(0, kMaxMessageBytes)) + "... ("
           + std::to_string(text.size()) + " bytes in all)";
}

const char* errorKindName(std::uint32_t kind)
{
    switch (kind) {
    case tarsion::error_kind::missing_configuration: return "missing configuration";
    case tarsion::error_kind::transport: return "transport";
    case tarsion::error_kind::http_status: return "HTTP status";
    case tarsion::error_kind::token_renewal_status: return "token renewal status";
    case tarsion::error_kind::invalid_body: return "invalid body";
    default: return "unknown";
    }
}

int reportError(const tarsion::error& error)
{
    // A transport error carries the socket client's number and no text; the
    // client's own line on stderr has already said more.
    std::string message = error.message;
    if (message.empty() && error.kind == tarsion::error_kind::transport && error.code != 0)
        message = example::describeSocketHttpError(static_cast<std::int32_t>(error.code));
    std::cerr << kProgram << ": error kind " << error.kind << " (" << errorKindName(error.kind) << "), code "
              << error.code << ": " << printableMessage(message) << '\n';
    return kExitFailure;
}

// Hands out the token from the client-credentials grant and asks the token
// endpoint for a new one when the service refuses it.
class ClientCredentialsTokens final : public tarsion::token_factory
{
public:
    ClientCredentialsTokens(std::shared_ptr<tarsion::http::http_base> http, std::string tokenUrl,
                            std::string clientId, std::string clientSecret)
        : http_(std::move(http))
        , tokenUrl_(std::move(tokenUrl))
        , clientId_(std::move(clientId))
        , clientSecret_(std::move(clientSecret))
    {
    }

    tarsion::expected<std::string> renew()
    {
        std::lock_guard guard(lock_);
        return renewLocked();
    }

    std::string get_token() override
    {
        std::lock_guard guard(lock_);
        return token_;
    }

    tarsion::expected<std::string> refresh_token(const std::string& failedToken) override
    {
        std::lock_guard guard(lock_);
        // Another thread met the same refusal and has renewed already.
        if (!token_.empty() && token_ != failedToken)
            return token_;
        return renewLocked();
    }

private:
    tarsion::expected<std::string> renewLocked()
    {
        using tarsion::quorvel::api::percent_encode;
        const tarsion::http::string_body::factory form("grant_type=client_credentials&client_id="
                                                       + percent_encode(clientId_)
                                                       + "&client_secret=" + percent_encode(clientSecret_));
        const tarsion::http::header_list headers{{"Content-Type", "application/x-www-form-urlencoded"},
                                                 {"Accept", "application/json"}};
        tarsion::http_response reply;
        const std::unique_ptr<tarsion::http::http_base::body> body = form.create_body();
        if (const std::int32_t result = http_->send("POST", tokenUrl_, headers, body.get(), true, 0, reply))
            return tarsion::make_error(tarsion::error_kind::transport, static_cast<std::uint32_t>(result),
                                       std::string("token request failed: ")
                                           + example::describeSocketHttpError(result));
        if (reply.status < 200 || reply.status > 299)
            return tarsion::make_error(tarsion::error_kind::http_status, reply.status,
                                       "token endpoint refused: " + reply.body, std::move(reply.headers));

        tarsion::json_node root;
        std::string token;
        if (!tarsion::parse_json(reply.body, root) || !root.is_object
            || !tarsion::get_string(root, "access_token", token) || token.empty())
            return tarsion::make_error(tarsion::error_kind::invalid_body, 0,
                                       "token endpoint reply has no access_token: " + reply.body);
        token_ = token;
        return token;
    }

    std::shared_ptr<tarsion::http::http_base> http_;
    std::string tokenUrl_;
    std::string clientId_;
    std::string clientSecret_;
    std::mutex lock_;
    std::string token_;
};

BusinessEntitiesQueryDto ticketQuery()
{
    const std::vector<std::string> locales{kLocale};
    EntitiesOptionsDto options;
    options.includeAttributeValuesByAttributeKeys = std::vector<std::string>{kTitleAttribute};
    options.includeLocales = locales;
    options.includeEntityState = true;

    BusinessEntitiesQueryDto query;
    query.entitiesByEntityTypeKeys = std::vector<std::string>{kTicketType};
    query.entitiesOptions = std::move(options);
    return query;
}

// The EN_US display text of the title, or its raw value when the display is
// empty, as the product shows it.
std::optional<std::string> ticketTitle(const EntityDto& entity)
{
    if (!entity.attributeValues)
        return std::nullopt;
    for (const EntityAttributeValueDto& attribute : *entity.attributeValues) {
        if (attribute.attributeKey != kTitleAttribute || !attribute.valueLocales)
            continue;
        for (const ValueLocaleDto& locale : *attribute.valueLocales) {
            if (locale.key != kLocale)
                continue;
            if (locale.display && !locale.display->empty())
                return locale.display;
            return locale.value;
        }
    }
    return std::nullopt;
}

std::string orDash(const std::optional<std::string>& text)
{
    return text ? printable(*text) : "-";
}

struct Options
{
    std::string baseUrl;
    std::string businessId;
    std::string tokenUrl;
    std::string clientId;
};

// Empty when the arguments are good; otherwise why not.
std::string parseArguments(const std::vector<std::string_view>& arguments, Options& options)
{
    const std::pair<std::string_view, std::string*> known[] = {{"--base-url", &options.baseUrl},
                                                               {"--business-id", &options.businessId},
                                                               {"--token-url", &options.tokenUrl},
                                                               {"--client-id", &options.clientId}};
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string_view name = arguments[i];
        const auto option = std::ranges::find(known, name, &std::pair<std::string_view, std::string*>::first);
        if (option == std::end(known))
            return "unknown argument: " + printable(name);
        if (i + 1 == arguments.size() || arguments[i + 1].empty())
            return std::string(name) + " needs a non-empty value";
        if (!option->second->empty())
            return std::string(name) + " is given twice";
        *option->second = arguments[++i];
    }
    for (const auto& [name, value] : known) {
        if (value->empty())
            return std::string(name) + " is required";
    }
    return {};
}

} // namespace

int main(int argc, char** argv)
{
    const std::vector<std::string_view> arguments(argv + (argc > 0 ? 1 : 0), argv + argc);
    if (std::ranges::find(arguments, "--help") != arguments.end()) {
        std::cout << kUsage;
        return 0;
    }
    Options options;
    if (const std::string problem = parseArguments(arguments, options); !problem.empty()) {
        std::cerr << kProgram << ": " << problem << "\nTry '" << kProgram << " --help'.\n";
        return kExitUsage;
    }
    const char* secret = std::getenv(kSecretVariable);
    if (secret == nullptr || *secret == 0) {
        std::cerr << kProgram << ": set the client secret in the environment variable " << kSecretVariable
                  << ".\n";
        return kExitUsage;
    }

    auto http = std::make_shared<example::SocketHttpClient>([](const std::string& message) {
        std::cerr << kProgram << ": " << printableMessage(message) << '\n';
    });

    // Fetched before the tenant exists, so that bad credentials fail at once
    // with the token endpoint's own answer.
    auto tokens = std::make_unique<ClientCredentialsTokens>(http, options.tokenUrl, options.clientId, secret);
    if (const tarsion::expected<std::string> token = tokens->renew(); !token)
        return reportError(token.error());

    tarsion::tenant_base settings;
    settings.base_url = options.baseUrl;
    settings.http_client = http;
    settings.random = std::make_shared<tarsion::random::c_random>();
    settings.business_id = options.businessId;
    // The plug-in's own policy: never repeats a query (a POST) unasked.
    tarsion::use_standard_retry_policy(settings);
    const auto tenant = std::make_shared<tarsion::tenant>(std::move(settings), std::move(tokens));

    const tarsion::quorvel::api::BusinessEntitiesQueryApi api(tenant);
    const auto entities = api.query_vector(ticketQuery(), std::nullopt, kTake);
    if (!entities)
        return reportError(entities.error());

    for (const EntityDto& entity : *entities) {
        std::cout << (entity.id ? tarsion::format_uuid(*entity.id) : "-") << '\t'
                  << orDash(entity.entityTypeKey) << '\t' << orDash(entity.stateKey);
        if (const std::optional<std::string> title = ticketTitle(entity))
            std::cout << '\t' << printable(*title);
        std::cout << '\n';
    }
    std::cout << entities->size() << (entities->size() == 1 ? " entity" : " entities") << '\n';
    return 0;
}
