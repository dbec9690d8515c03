#include "sdk/core/detail/pipeline.h"

#include <algorithm>

namespace tarsion::detail {
namespace {

constexpr std::string_view kPlaceholder = "{businessId}";

} // namespace

// What would let a header end early or forge another one. Every header of
// every request is looked at, the token too, so this is a plain scan:
// find_first_of would search the set of three for each character.
bool breaks_framing(std::string_view text)
{
    return std::ranges::any_of(text, [](char c) {
        return static_cast<unsigned char>(c) <= '\r' && (c == '\r' || c == '\n' || c == '\0');
    });
}

std::string business_id_value(const std::string& id, const std::string& suffix)
{
    if (suffix.empty() || id.empty())
        return id;
    return id + "." + suffix;
}

std::string substitute_business_id(const std::string& path_template, const std::string& id)
{
    const std::size_t at = path_template.find(kPlaceholder);
    if (at == std::string::npos || at > path_template.find('?'))
        return path_template;
    std::string path = path_template;
    if (!id.empty()) {
        path.replace(at, kPlaceholder.size(), id);
        return path;
    }
    std::size_t removed = kPlaceholder.size();
    if (at != 0 && at + removed < path.size())
        ++removed;
    path.erase(at, removed);
    return path;
}

std::string join_url(const std::string& base_url, const std::string& path)
{
    if (path.empty() || path.front() != '/')
        return path;
    if (!base_url.empty() && base_url.back() == '/')
        return base_url + path.substr(1);
    return base_url + path;
}

http::header_list with_authorization(const http::header_list& headers, const std::string& token)
{
    http::header_list sent = headers;
    sent.remove_all("Authorization");
    if (!token.empty())
        sent.append("Authorization", "Bearer " + token);
    return sent;
}

const http::header* unsafe_header(const http::header_list& headers)
{
    for (const http::header& header : headers) {
        if (breaks_framing(header.first) || breaks_framing(header.second))
            return &header;
    }
    return nullptr;
}

} // namespace tarsion::detail
