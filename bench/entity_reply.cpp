#include "bench/entity_reply.h"

#include <array>
#include <string_view>
#include <utility>

namespace quorvel_bench {
namespace {

// splitmix64: its output is defined bit for bit, unlike the standard
// distributions, whose results differ between library implementations.
class rng
{
public:
    explicit rng(std::uint64_t state) : state_(state) {}

    std::uint64_t next() noexcept
    {
        std::uint64_t z = (state_ += 0x9E3779B97F4A7C15ull);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        return z ^ (z >> 31);
    }

    // The modulo bias of a 64-bit draw is far below anything a benchmark input
    // could notice.
    std::size_t below(std::size_t n) noexcept { return static_cast<std::size_t>(next() % n); }
    std::size_t between(std::size_t low, std::size_t high) noexcept { return low + below(high - low + 1); }
    bool one_in(std::size_t n) noexcept { return below(n) == 0; }

    template <class T, std::size_t N>
    const T& pick(const std::array<T, N>& items) noexcept
    {
        return items[below(N)];
    }

private:
    std::uint64_t state_;
};

struct uuid
{
    std::uint64_t high = 0;
    std::uint64_t low = 0;
};

uuid random_uuid(rng& r) noexcept
{
    // Random (version 4) ids, the kind a service hands out for new records.
    uuid u{r.next(), r.next()};
    u.high = (u.high & ~0xF000ull) | 0x4000ull;
    u.low = (u.low & ~0xC000000000000000ull) | 0x8000000000000000ull;
    return u;
}

// ---------------------------------------------------------------------------
// Vocabulary. Every text below is already in its wire form (JSON-escaped, "/"
// sent as "\/"), so it is appended verbatim.

constexpr std::size_t kLocaleCount = 3;
constexpr std::array<std::string_view, kLocaleCount> kLocales = {"EN_US", "DE_DE", "FR_FR"};

struct weighted_type
{
    std::string_view key;
    std::size_t weight;
};
// Tickets dominate: the list query behind the chat asks for them.
constexpr std::array<weighted_type, 6> kEntityTypes = {{
    {"BUSINESS_TICKET", 10},
    {"SUBJECT", 3},
    {"USER_PROFILE", 3},
    {"CUSTOMER", 2},
    {"ORDER", 1},
    {"INVOICE", 1},
}};
constexpr std::size_t kEntityTypeWeightTotal = 20;

constexpr std::array<std::string_view, 6> kStates = {
    "NEW", "OPEN", "IN_PROGRESS", "WAITING_FOR_CUSTOMER", "RESOLVED", "CLOSED"};
constexpr std::array<std::string_view, 3> kLocalizationStates = {"COMPLETE", "PARTIAL", "MISSING"};
constexpr std::array<std::string_view, 3> kSchemaApps = {"quorvel.support", "quorvel.crm", "quorvel.billing"};
constexpr std::array<std::string_view, 4> kSchemaVersions = {"1.0.0", "2.3.1", "2.4.0-rc.2", "3.0.12"};
constexpr std::array<std::string_view, 5> kReferenceKeys = {
    "ticket.customer", "ticket.subject", "ticket.assignee", "order.invoice", "profile.owner"};

constexpr std::array<std::string_view, 12> kTitles = {
    R"(Printer on floor 3 does not print)",
    R"(Rechnung 2026-0417: falscher Betrag)",
    R"(Caf\u00e9 order stuck in \"pending\")",
    R"(Preis 49,90 € statt 39,90 €)",
    R"(Login fails after password reset \ud83d\ude00)",
    R"(Grüße aus München – Lieferung verspätet)",
    R"(顧客ポータルにログインできません)",
    R"(VPN drops every 10 minutes)",
    R"(Anfrage zur Kündigung des Vertrags)",
    R"(Export to CSV truncates the \"Notes\" column)",
    R"(Umlaute erscheinen als \u00c3\u00bc im Portal)",
    R"(Schäden melden \/ Report damage)",
};

constexpr std::array<std::string_view, 8> kDescriptions = {
    R"(Steps to reproduce:\n1. Open https:\/\/portal.example.com\/tickets\/new\n2. Attach the file\n3. Press \"Send\"\nExpected: the ticket is saved.\nActual: the page shows error 500.)",
    R"(Hallo Support-Team,\n\nseit dem Update erscheint beim Öffnen der Übersicht die Meldung \"Zugriff verweigert\". Bitte prüfen Sie die Berechtigungen für unser Konto.\n\nViele Grüße\nJürgen Müller)",
    R"(Customer reports that the invoice total shows \u20ac 1.249,00 instead of \u20ac 1.149,00. Scan saved as C:\\Scans\\invoice_0417.pdf, copy at https:\/\/files.example.com\/inv\/0417.)",
    R"(Le terminal du caf\u00e9 au b\u00e2timent B affiche \u00ab Erreur r\u00e9seau \u00bb chaque matin.\nUn red\u00e9marrage aide pendant une heure.)",
    R"(お客様からの問い合わせ：注文番号 4711 の配送状況を確認してください。\nThanks, 王芳)",
    R"(Emoji in the subject line break the mail import \ud83d\udce7 \u2192 see log:\n[2026-11-02 08:14:03] ERROR mail.import: invalid byte sequence in \"Betreff\")",
    R"(Die Lieferung für Auftrag 2026\/0815 ist unvollständig: 3 von 5 Paketen sind angekommen. Bitte um Rückruf unter +49 30 1234567.)",
    R"(Short note.)",
};

constexpr std::array<std::string_view, 6> kPeople = {R"(Zoë Schäfer)",          R"(李伟)",
                                                     R"(Fran\u00e7ois Dupont)", R"(Jürgen Müller)",
                                                     R"(Ana O\u2019Brien)",     R"(Sam \"Sammy\" Lee)"};
constexpr std::array<std::string_view, 5> kEmails = {"j.mueller@example.de", "zoe.schaefer@example.com",
                                                     "wang.fang@example.cn", "f.dupont@example.fr",
                                                     "support+tickets@example.org"};

// An option of an enumerated attribute: its code and its label per locale.
struct option
{
    std::string_view code;
    std::array<std::string_view, kLocaleCount> labels;
};
constexpr std::array<option, 4> kPriorities = {{
    {"LOW", {"Low", "Niedrig", "Basse"}},
    {"NORMAL", {"Normal", "Normal", "Normale"}},
    {"HIGH", {"High", "Hoch", R"(\u00c9lev\u00e9e)"}},
    {"CRITICAL", {"Critical", "Kritisch", "Critique"}},
}};
constexpr std::array<option, 4> kCategories = {{
    {"HARDWARE", {"Hardware", "Hardware", R"(Mat\u00e9riel)"}},
    {"BILLING", {"Billing", "Abrechnung", "Facturation"}},
    {"ACCESS", {"Access & sign-in", "Zugang & Anmeldung", R"(Acc\u00e8s et connexion)"}},
    {"DELIVERY", {"Delivery", "Lieferung", "Livraison"}},
}};
constexpr std::array<option, 2> kYesNo = {{
    {"true", {"Yes", "Ja", "Oui"}},
    {"false", {"No", "Nein", "Non"}},
}};

enum class attribute
{
    title,
    display_name,
    description,
    priority,
    category,
    default_channel,
    due_date,
    contact_email,
    website,
    amount,
    assignee,
};
constexpr std::size_t kAttributeCount = 11;
// Every attribute after the first (title or display name) is drawn from these.
constexpr std::array<attribute, kAttributeCount - 2> kOptionalAttributes = {
    attribute::description,     attribute::priority, attribute::category,
    attribute::default_channel, attribute::due_date, attribute::contact_email,
    attribute::website,         attribute::amount,   attribute::assignee,
};

struct attribute_info
{
    std::string_view key;
    std::string_view type;
};
constexpr std::array<attribute_info, kAttributeCount> kAttributeInfo = {{
    {"TICKET_TITLE", "TEXT"},
    {"DISPLAY_NAME", "TEXT"},
    {"TICKET_DESCRIPTION", "TEXT"},
    {"PRIORITY", "ENUM"},
    {"CATEGORY", "ENUM"},
    {"IS_DEFAULT_CHANNEL", "BOOLEAN"},
    {"DUE_DATE", "DATE"},
    {"CONTACT_EMAIL", "TEXT"},
    {"WEBSITE", "URL"},
    {"AMOUNT", "NUMBER"},
    {"ASSIGNEE", "TEXT"},
}};

// Ids that a real service keeps stable across entities: one per entity type,
// state, schema application, attribute and enumerated option. Drawn from the
// seed alone so that every entity of a reply agrees on them.
struct catalogue
{
    std::array<uuid, kEntityTypes.size()> entity_types;
    std::array<uuid, kStates.size()> states;
    std::array<uuid, kSchemaApps.size()> schema_apps;
    std::array<uuid, kAttributeCount> attributes;
    std::array<uuid, kPriorities.size()> priorities;
    std::array<uuid, kCategories.size()> categories;
    std::array<uuid, kYesNo.size()> yes_no;

    explicit catalogue(std::uint64_t seed)
    {
        rng r(seed ^ 0x5EEDCA7A1064E000ull);
        fill(r, entity_types);
        fill(r, states);
        fill(r, schema_apps);
        fill(r, attributes);
        fill(r, priorities);
        fill(r, categories);
        fill(r, yes_no);
    }

private:
    template <std::size_t N>
    static void fill(rng& r, std::array<uuid, N>& ids)
    {
        for (uuid& id : ids)
            id = random_uuid(r);
    }
};

// ---------------------------------------------------------------------------
// Output helpers. Keys are written without escaping: they are all plain ASCII.

class writer
{
public:
    writer(std::string& out, const catalogue& ids, rng& r) : out_(out), ids_(ids), r_(r) {}

    void entity();

private:
    void key(std::string_view name, bool first)
    {
        if (!first)
            out_ += ',';
        out_ += '"';
        out_ += name;
        out_ += "\":";
    }

    void text(std::string_view name, std::string_view wire, bool first = false)
    {
        key(name, first);
        out_ += '"';
        out_ += wire;
        out_ += '"';
    }

    void literal(std::string_view name, std::string_view raw, bool first = false)
    {
        key(name, first);
        out_ += raw;
    }

    void number(std::string_view name, std::uint64_t n, bool first = false)
    {
        key(name, first);
        append_decimal(n, 1);
    }

    void id(std::string_view name, const uuid& u, bool upper, bool first = false)
    {
        key(name, first);
        out_ += '"';
        append_uuid(u, upper);
        out_ += '"';
    }

    // Most ids are written in lower case; a few clients and older service
    // versions store upper-case ones, and readers must take both.
    void random_id(std::string_view name, bool first = false)
    {
        id(name, random_uuid(r_), r_.one_in(8), first);
    }

    void append_uuid(const uuid& u, bool upper)
    {
        const char* digits = upper ? "0123456789ABCDEF" : "0123456789abcdef";
        char text[36];
        std::size_t pos = 0;
        for (unsigned i = 0; i < 32; ++i) {
            if (i == 8 || i == 12 || i == 16 || i == 20)
                text[pos++] = '-';
            const std::uint64_t word = i < 16 ? u.high : u.low;
            text[pos++] = digits[(word >> ((15 - i % 16) * 4)) & 0xF];
        }
        out_.append(text, sizeof text);
    }

    void append_decimal(std::uint64_t n, unsigned min_digits)
    {
        char buffer[24];
        char* p = buffer + sizeof buffer;
        unsigned written = 0;
        do {
            *--p = static_cast<char>('0' + n % 10);
            n /= 10;
            ++written;
        } while (n != 0 || written < min_digits);
        out_.append(p, buffer + sizeof buffer);
    }

    void append_hex(std::size_t byte_count)
    {
        static constexpr char digits[] = "0123456789abcdef";
        for (std::size_t i = 0; i < byte_count; ++i) {
            const auto b = static_cast<unsigned>(r_.next() & 0xFF);
            out_ += digits[b >> 4];
            out_ += digits[b & 0xF];
        }
    }

    // Base64 of random bytes; its "/" is sent escaped like every other one.
    void append_base64(std::size_t byte_count)
    {
        static constexpr char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
        std::size_t i = 0;
        for (; i + 3 <= byte_count; i += 3)
            sextets(static_cast<std::uint32_t>(r_.next() & 0xFFFFFF), 4, alphabet);
        const std::size_t rest = byte_count - i;
        if (rest == 1) {
            sextets(static_cast<std::uint32_t>(r_.next() & 0xFF) << 16, 2, alphabet);
            out_ += "==";
        } else if (rest == 2) {
            sextets(static_cast<std::uint32_t>(r_.next() & 0xFFFF) << 8, 3, alphabet);
            out_ += '=';
        }
    }

    void sextets(std::uint32_t group, unsigned count, const char* alphabet)
    {
        for (unsigned k = 0; k < count; ++k) {
            const char c = alphabet[(group >> (18 - 6 * k)) & 0x3F];
            if (c == '/')
                out_ += '\\';
            out_ += c;
        }
    }

    // ISO 8601 in UTC, as the service stamps its records.
    void append_timestamp()
    {
        out_ += "2026-";
        append_decimal(r_.between(1, 12), 2);
        out_ += '-';
        append_decimal(r_.between(1, 28), 2);
        out_ += 'T';
        append_decimal(r_.between(0, 23), 2);
        out_ += ':';
        append_decimal(r_.between(0, 59), 2);
        out_ += ':';
        append_decimal(r_.between(0, 59), 2);
        out_ += '.';
        append_decimal(r_.below(1000), 3);
        out_ += 'Z';
    }

    std::size_t entity_type()
    {
        std::size_t draw = r_.below(kEntityTypeWeightTotal);
        for (std::size_t i = 0; i < kEntityTypes.size(); ++i) {
            if (draw < kEntityTypes[i].weight)
                return i;
            draw -= kEntityTypes[i].weight;
        }
        return 0;
    }

    void localization_object(std::string_view name);
    void reference(std::size_t position);
    void attribute_value(attribute which);
    void value_locale(attribute which, std::size_t locale, std::size_t variant, std::uint64_t number);

    std::string& out_;
    const catalogue& ids_;
    rng& r_;
};

void writer::localization_object(std::string_view name)
{
    key(name, false);
    out_ += '{';
    text("stateKey", r_.pick(kLocalizationStates), true);
    key("localeStates", false);
    out_ += '{';
    text("EN_US", r_.pick(kLocalizationStates), true);
    text("DE_DE", r_.pick(kLocalizationStates));
    out_ += "}}";
}

void writer::reference(std::size_t position)
{
    const std::size_t type = entity_type();
    out_ += '{';
    random_id("id", true);
    random_id("entityId");
    id("entityTypeId", ids_.entity_types[type], false);
    text("entityTypeKey", kEntityTypes[type].key);
    text("key", r_.pick(kReferenceKeys));
    key("position", false);
    out_ += '"';
    append_decimal(position, 1);
    out_ += '"';
    random_id("originalId");
    out_ += '}';
}

void writer::value_locale(attribute which, std::size_t locale, std::size_t variant, std::uint64_t number)
{
    out_ += '{';
    text("key", kLocales[locale], true);
    switch (which) {
    case attribute::title:
        // Free text is entered once; every locale carries the same words.
        text("display", kTitles[variant]);
        text("value", kTitles[variant]);
        break;
    case attribute::description:
        text("display", kDescriptions[variant]);
        text("value", kDescriptions[variant]);
        break;
    case attribute::priority:
        text("display", kPriorities[variant].labels[locale]);
        text("value", kPriorities[variant].code);
        break;
    case attribute::category:
        text("display", kCategories[variant].labels[locale]);
        text("value", kCategories[variant].code);
        break;
    case attribute::default_channel:
        text("display", kYesNo[variant].labels[locale]);
        text("value", kYesNo[variant].code);
        break;
    case attribute::due_date: {
        const std::uint64_t month = number % 12 + 1;
        const std::uint64_t day = number / 12 % 28 + 1;
        key("display", false);
        out_ += '"';
        if (locale == 0) { // 12\/01\/2026
            append_decimal(month, 2);
            out_ += "\\/";
            append_decimal(day, 2);
            out_ += "\\/2026";
        } else { // 01.12.2026
            append_decimal(day, 2);
            out_ += '.';
            append_decimal(month, 2);
            out_ += ".2026";
        }
        out_ += '"';
        key("value", false);
        out_ += "\"2026-";
        append_decimal(month, 2);
        out_ += '-';
        append_decimal(day, 2);
        out_ += "T17:00:00Z\"";
        break;
    }
    case attribute::contact_email:
        text("display", kEmails[variant]);
        text("value", kEmails[variant]);
        break;
    case attribute::website: {
        for (std::string_view member : {std::string_view("display"), std::string_view("value")}) {
            key(member, false);
            out_ += R"("https:\/\/www.example.com\/kunden\/)";
            append_decimal(number % 100000, 1);
            out_ += '"';
        }
        break;
    }
    case attribute::amount: {
        const std::uint64_t euros = number % 100000;
        const std::uint64_t cents = number / 100000 % 100;
        key("display", false);
        out_ += '"';
        if (locale == 0) {
            out_ += R"(\u20ac )";
            append_decimal(euros, 1);
            out_ += '.';
            append_decimal(cents, 2);
        } else {
            append_decimal(euros, 1);
            out_ += ',';
            append_decimal(cents, 2);
            out_ += " €";
        }
        out_ += '"';
        key("value", false);
        out_ += '"';
        append_decimal(euros, 1);
        out_ += '.';
        append_decimal(cents, 2);
        out_ += '"';
        break;
    }
    case attribute::display_name:
    case attribute::assignee:
        text("display", kPeople[variant]);
        text("value", kPeople[variant]);
        break;
    }
    out_ += '}';
}

void writer::attribute_value(attribute which)
{
    const auto index = static_cast<std::size_t>(which);
    const attribute_info& info = kAttributeInfo[index];

    // The option chosen (for enumerations) or the text drawn (for free text).
    std::size_t variant = 0;
    const uuid* option_id = nullptr;
    std::string_view value_key;
    switch (which) {
    case attribute::title: variant = r_.below(kTitles.size()); break;
    case attribute::display_name: variant = r_.below(kPeople.size()); break;
    case attribute::description: variant = r_.below(kDescriptions.size()); break;
    case attribute::priority:
        variant = r_.below(kPriorities.size());
        option_id = &ids_.priorities[variant];
        value_key = kPriorities[variant].code;
        break;
    case attribute::category:
        variant = r_.below(kCategories.size());
        option_id = &ids_.categories[variant];
        value_key = kCategories[variant].code;
        break;
    case attribute::default_channel:
        // Only a few tickets are the duty channel.
        variant = r_.one_in(10) ? 0 : 1;
        option_id = &ids_.yes_no[variant];
        value_key = variant == 0 ? "YES" : "NO";
        break;
    case attribute::contact_email: variant = r_.below(kEmails.size()); break;
    case attribute::assignee: variant = r_.below(kPeople.size()); break;
    default: break;
    }
    const std::uint64_t number = r_.next();

    out_ += '{';
    random_id("id", true);
    text("attributeKey", info.key);
    id("attributeId", ids_.attributes[index], false);
    text("attributeType", info.type);
    text("valueKey", value_key); // free text has no option key: sent empty
    if (option_id != nullptr)
        id("valueId", *option_id, false);
    else
        random_id("valueId");
    random_id("originalId");
    localization_object("localization");
    key("valueLocales", false);
    out_ += '[';
    const std::size_t locales = r_.between(1, kLocaleCount);
    for (std::size_t l = 0; l < locales; ++l) {
        if (l != 0)
            out_ += ',';
        value_locale(which, l, variant, number);
    }
    out_ += "]}";
}

void writer::entity()
{
    const std::size_t type = entity_type();
    const std::size_t state = r_.below(kStates.size());
    const std::size_t app = r_.below(kSchemaApps.size());

    out_ += '{';
    random_id("id", true);
    text("entityTypeKey", kEntityTypes[type].key);
    id("entityTypeId", ids_.entity_types[type], false);

    key("referencedTo", false);
    out_ += '[';
    const std::size_t references = r_.between(0, 3);
    for (std::size_t i = 0; i < references; ++i) {
        if (i != 0)
            out_ += ',';
        reference(i);
    }
    out_ += ']';

    id("stateId", ids_.states[state], false);
    text("stateKey", kStates[state]);
    literal("isDraft", r_.one_in(10) ? "true" : "false");
    number("version", r_.one_in(50) ? r_.between(1000, 250000) : r_.between(1, 500));
    if (r_.one_in(20)) {
        key("deleted", false);
        out_ += '"';
        append_timestamp();
        out_ += '"';
    } else {
        text("deleted", "false");
    }
    localization_object("localization");

    key("attributeValues", false);
    out_ += '[';
    // Tickets are titled; every other entity type has a name.
    attribute_value(type == 0 ? attribute::title : attribute::display_name);
    // Distinct optional attributes: a partial Fisher-Yates shuffle.
    std::array<attribute, kOptionalAttributes.size()> optional = kOptionalAttributes;
    const std::size_t extra = r_.between(2, 7);
    for (std::size_t i = 0; i < extra; ++i) {
        std::swap(optional[i], optional[i + r_.below(optional.size() - i)]);
        out_ += ',';
        attribute_value(optional[i]);
    }
    out_ += ']';

    key("customerNumber", false);
    out_ += "\"K-";
    append_decimal(r_.below(10000000), 7);
    out_ += '"';
    text("schemaAppKey", kSchemaApps[app]);
    id("schemaAppId", ids_.schema_apps[app], false);
    key("hash", false);
    out_ += '"';
    append_hex(32);
    out_ += '"';
    key("hashSignature", false);
    out_ += '"';
    append_base64(64);
    out_ += '"';
    text("hashType", "SHA256");
    random_id("originalId");
    key("originalSchemaApp", false);
    out_ += '{';
    text("key", kSchemaApps[app], true);
    text("version", r_.pick(kSchemaVersions));
    out_ += "}}";
}

// Each entity has its own stream, so that entity `index` does not depend on
// how many came before it.
rng entity_stream(std::uint64_t seed, std::size_t index)
{
    rng mixer(seed);
    const std::uint64_t base = mixer.next();
    return rng(base ^ (static_cast<std::uint64_t>(index) * 0xD1B54A32D192ED03ull));
}

void append_entity(std::string& out, const catalogue& ids, std::uint64_t seed, std::size_t index)
{
    rng r = entity_stream(seed, index);
    writer(out, ids, r).entity();
}

} // namespace

std::string make_entity(std::size_t index, std::uint64_t seed)
{
    const catalogue ids(seed);
    std::string out;
    append_entity(out, ids, seed, index);
    return out;
}

std::string make_entity_list_reply(std::size_t entity_count, std::uint64_t seed)
{
    const catalogue ids(seed);
    std::string out;
    // About 4 KB an entity; one reservation avoids a dozen regrowths.
    out.reserve(entity_count * 4096 + 2);
    out += '[';
    for (std::size_t i = 0; i < entity_count; ++i) {
        if (i != 0)
            out += ',';
        append_entity(out, ids, seed, i);
    }
    out += ']';
    return out;
}

std::size_t entity_count_for_size(std::size_t target_bytes, std::uint64_t seed)
{
    const catalogue ids(seed);
    std::size_t total = 2; // the brackets
    std::size_t count = 0;
    std::string entity;
    while (total < target_bytes) {
        entity.clear();
        append_entity(entity, ids, seed, count);
        total += entity.size() + (count != 0 ? 1 : 0);
        ++count;
    }
    return count;
}

} // namespace quorvel_bench
