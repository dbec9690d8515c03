// The two integer readers: "Retry-After" values (signed 32-bit) and JSON
// integers (signed 64-bit), against a reference written here from their
// grammar (an optional "-", then one or more decimal digits, nothing else,
// within range) that accumulates into 128 bits and shares no code with
// either. Also:
//  - the 64-bit writer: its text reads back to the same number and is the
//    shortest form of the text it was read from, and it agrees with
//    std::to_chars on a number taken from the input's first bytes;
//  - get_int64 reads a member exactly as parse_int64 reads its text, and
//    leaves 0 after a failure;
//  - the tenant's retry after a 429 waits what the header says when it reads
//    as 0 to 60 seconds, the configured delay when the header is empty, and
//    stops retrying otherwise.

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "support/scripted_http_client.h"
#include "fuzz_check.h"
#include "sdk/core/retry_after.h"
#include "sdk/core/tenant.h"
#include "sdk/json/json_getters.h"
#include "sdk/json/json_node.h"
#include "sdk/json/json_reader.h"
#include "sdk/json/json_writer.h"

namespace {

using int128 = __int128;

std::optional<int128> reference_decimal(std::string_view text, int128 lowest, int128 highest)
{
    std::size_t i = 0;
    const bool negative = !text.empty() && text[0] == '-';
    if (negative)
        ++i;
    if (i == text.size())
        return std::nullopt;
    const int128 limit = negative ? -lowest : highest;
    int128 magnitude = 0;
    for (; i < text.size(); ++i) {
        const char c = text[i];
        if (c < '0' || c > '9')
            return std::nullopt;
        // Held at one past the limit once beyond it, so that any number of
        // digits fits.
        magnitude = magnitude * 10 + (c - '0');
        if (magnitude > limit)
            magnitude = limit + 1;
    }
    if (magnitude > limit)
        return std::nullopt;
    return negative ? -magnitude : magnitude;
}

// The text without leading zeros and without the sign of a zero.
std::string shortest_form(std::string_view text)
{
    const bool negative = text.front() == '-';
    std::string_view digits = text.substr(negative ? 1 : 0);
    while (digits.size() > 1 && digits.front() == '0')
        digits.remove_prefix(1);
    std::string out;
    if (negative && digits != "0")
        out.push_back('-');
    out.append(digits);
    return out;
}

void check_int64(std::string_view text)
{
    const std::optional<int128> expected = reference_decimal(text, std::numeric_limits<std::int64_t>::min(),
                                                             std::numeric_limits<std::int64_t>::max());

    std::int64_t value = 12345;
    const bool ok = tarsion::parse_int64(text, value);
    FUZZ_CHECK(ok == expected.has_value(), "parse_int64 accepts exactly the reference grammar and range");
    if (ok) {
        FUZZ_CHECK(value == *expected, "parse_int64 reads the reference value");
        const std::string written = tarsion::format_int64(value);
        FUZZ_CHECK(written == shortest_form(text), "format_int64 writes the shortest form of the text read");
    } else {
        FUZZ_CHECK(value == 12345, "a failed parse_int64 leaves its output alone");
    }

    tarsion::json_node object;
    object.is_object = true;
    object.add_value("Count", text, true);
    std::int64_t member = 12345;
    FUZZ_CHECK(tarsion::get_int64(object, "count", member) == ok, "get_int64 reads as parse_int64 does");
    FUZZ_CHECK(member == (ok ? value : 0), "get_int64 gives the value, or 0 after a failure");
}

void check_format(const std::uint8_t* data, std::size_t size)
{
    std::uint64_t bits = 0;
    std::memcpy(&bits, data, size < sizeof bits ? size : sizeof bits);
    const auto n = static_cast<std::int64_t>(bits);
    char reference[32];
    const char* const end = std::to_chars(reference, reference + sizeof reference, n).ptr;
    const std::string written = tarsion::format_int64(n);
    FUZZ_CHECK(written == std::string_view(reference, static_cast<std::size_t>(end - reference)),
               "format_int64 agrees with std::to_chars");
    std::int64_t back = 0;
    FUZZ_CHECK(tarsion::parse_int64(written, back) && back == n, "format_int64's text reads back");
    std::string appended = "x";
    tarsion::append_int64(appended, n);
    FUZZ_CHECK(appended == "x" + written, "append_int64 appends what format_int64 returns");
}

void check_retry_after(std::string_view text)
{
    const std::optional<int128> expected = reference_decimal(text, std::numeric_limits<std::int32_t>::min(),
                                                             std::numeric_limits<std::int32_t>::max());
    const std::optional<std::int32_t> parsed = tarsion::parse_retry_after(text);
    FUZZ_CHECK(parsed.has_value() == expected.has_value(),
               "parse_retry_after accepts exactly the reference grammar and range");
    if (parsed)
        FUZZ_CHECK(*parsed == *expected, "parse_retry_after reads the reference value");
}

void check_retry_wait(std::string_view text)
{
    constexpr std::uint32_t kDelay = 7;
    constexpr int128 kLongestWait = 60;

    tarsion::testing::scripted_reply busy{429, {}, {}};
    busy.headers.append("Retry-After", std::string(text));
    auto client = std::make_shared<tarsion::testing::scripted_http_client>(
        std::vector<tarsion::testing::scripted_reply>{busy, {200, {}, {}}});

    tarsion::tenant_base settings;
    settings.base_url = "http://fuzz.invalid";
    settings.http_client = client;
    settings.business_id = "b1";
    settings.retry_delays = {kDelay};
    settings.retry_statuses = {429};
    settings.retry_verbs = {"GET"};
    tarsion::tenant tenant(std::move(settings));
    std::vector<std::uint32_t> waits;
    tenant.sleep = [&waits](std::uint32_t seconds) { waits.push_back(seconds); };

    const tarsion::expected<tarsion::http_response> reply =
        tenant.execute("GET", "/x/{businessId}", {}, nullptr, 0, false, false);
    FUZZ_CHECK(reply.has_value(), "a status is never a pipeline error");

    const std::optional<int128> seconds = reference_decimal(text, std::numeric_limits<std::int32_t>::min(),
                                                            std::numeric_limits<std::int32_t>::max());
    if (text.empty() || (seconds && *seconds >= 0 && *seconds <= kLongestWait)) {
        const std::uint32_t expected_wait = text.empty() ? kDelay : static_cast<std::uint32_t>(*seconds);
        FUZZ_CHECK(waits.size() == 1 && waits[0] == expected_wait, "a usable Retry-After sets the one wait");
        FUZZ_CHECK(client->sends().size() == 2 && reply->status == 200,
                   "the request is sent again after the wait");
    } else {
        FUZZ_CHECK(waits.empty() && client->sends().size() == 1, "an unusable Retry-After ends the retries");
        FUZZ_CHECK(reply->status == 429, "the last reply is returned");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    check_int64(text);
    check_retry_after(text);
    check_format(data, size);
    // The pipeline costs far more than the parsers; short texts are where
    // its decisions lie.
    if (size <= 64)
        check_retry_wait(text);
    return 0;
}
