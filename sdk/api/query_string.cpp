#include "sdk/api/query_string.h"

namespace tarsion::quorvel::api {
namespace {

bool is_unreserved(unsigned char c) noexcept
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '.'
           || c == '_' || c == '~';
}

} // namespace

std::string percent_encode(std::string_view value)
{
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string out;
    out.reserve(value.size());
    for (const char ch : value) {
        const auto c = static_cast<unsigned char>(ch);
        if (is_unreserved(c)) {
            out.push_back(ch);
            continue;
        }
        out.push_back('%');
        out.push_back(kHex[c >> 4]);
        out.push_back(kHex[c & 0xF]);
    }
    return out;
}

void append_query_parameter(std::string& path, std::string_view name, std::string_view value)
{
    path.push_back(path.find('?') == std::string::npos ? '?' : '&');
    path.append(name);
    path.push_back('=');
    path.append(value);
}

} // namespace tarsion::quorvel::api
