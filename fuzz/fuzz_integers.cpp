// The two integer readers, "Retry-After" values (signed 32-bit) and JSON
// integers (signed 64-bit), against std::from_chars over the whole text, which
// shares no code with either. Also: the 64-bit writer agrees with
// std::to_chars; get_int64 reads a member as parse_int64 reads its text and
// leaves 0 after a failure. (What the tenant makes of a Retry-After value is
// decided by the SDK suite's tables, on top of this reader.)

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include "fuzz_check.h"
#include "sdk/core/detail/retry_after.h"
#include "sdk/json/json_getters.h"
#include "sdk/json/json_reader.h"
#include "sdk/json/json_writer.h"

namespace {

template <class T>
std::optional<T> reference(std::string_view text)
{
    T value{};
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
    return ec == std::errc() && end == text.data() + text.size() ? std::optional(value) : std::nullopt;
}

void check_int64(std::string_view text)
{
    const std::optional<std::int64_t> expected = reference<std::int64_t>(text);
    std::int64_t value = 12345;
    const bool ok = tarsion::parse_int64(text, value);
    FUZZ_CHECK(ok == expected.has_value() && value == expected.value_or(12345),
               "parse_int64 reads what from_chars reads, and leaves its output alone otherwise");
    tarsion::json_node object;
    object.is_object = true;
    object.add_value("Count", text, true);
    std::int64_t member = 12345;
    FUZZ_CHECK(tarsion::get_int64(object, "count", member) == ok && member == expected.value_or(0),
               "get_int64 reads as parse_int64 does and gives 0 after a failure");
}

void check_format(const std::uint8_t* data, std::size_t size)
{
    std::uint64_t bits = 0;
    std::memcpy(&bits, data, size < sizeof bits ? size : sizeof bits);
    const auto n = static_cast<std::int64_t>(bits);
    char expected[32];
    const char* const end = std::to_chars(expected, expected + sizeof expected, n).ptr;
    const std::string written = tarsion::format_int64(n);
    FUZZ_CHECK(written == std::string_view(expected, static_cast<std::size_t>(end - expected)),
               "format_int64 agrees with std::to_chars");
    std::string appended = "x";
    tarsion::append_int64(appended, n);
    FUZZ_CHECK(appended == "x" + written, "append_int64 appends what format_int64 returns");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    check_int64(text);
    FUZZ_CHECK(tarsion::detail::parse_retry_after(text) == reference<std::int32_t>(text),
               "parse_retry_after reads what from_chars reads");
    check_format(data, size);
    return 0;
}
