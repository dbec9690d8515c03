#include "sdk/core/detail/pipeline.h"

#include <string_view>

namespace tarsion::detail {
namespace {

constexpr std::string_view kPlaceholder = "{businessId}";

// Appends the template with the business id put in (see request_url).
void append_path(std::string& out, const std::string& path_template, const std::string& id,
                 const std::string& suffix)
{
    const std::size_t at = path_template.find(kPlaceholder);
    if (at == std::string::npos || at > path_template.find('?')) {
        out += path_template;
        return;
    }
    out.append(path_template, 0, at);
    std::size_t removed = kPlaceholder.size();
    if (!id.empty()) {
        out += id;
        if (!suffix.empty()) {
            out += '.';
            out += suffix;
        }
    } else if (at != 0 && at + removed < path_template.size()) {
        ++removed;
    }
    out.append(path_template, at + removed);
}

} // namespace

// What would let a header end early or forge another one. Every header of
// every request is looked at, the token too: three vectorised memchr
// passes cost less than one test per character (find_first_of would
// search the set of three for each character).
bool breaks_framing(std::string_view text)
{
    return text.find('\r') != std::string_view::npos || text.find('\n') != std::string_view::npos
           || text.find('\0') != std::string_view::npos;
}

// Built in one string, reserved once: the request's URL is made for every
// call.
std::string request_url(const std::string& base_url, const std::string& path_template, const std::string& id,
                        const std::string& suffix)
{
    std::string url;
    url.reserve(base_url.size() + path_template.size() + id.size() + 1 + suffix.size());
    url += base_url;
    append_path(url, path_template, id, suffix);
    const std::size_t path_at = base_url.size();
    if (url.size() == path_at || url[path_at] != '/')
        url.erase(0, path_at);
    else if (!base_url.empty() && base_url.back() == '/')
        url.erase(path_at, 1);
    return url;
}

http::header_list with_authorization(const http::header_list& headers, const std::string& token)
{
    http::header_list sent;
    sent.reserve(headers.size() + 1);
    for (const http::header& header : headers) {
        if (header.first != "Authorization")
            sent.append(header.first, header.second);
    }
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
