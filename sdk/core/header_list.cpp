#include "sdk/core/header_list.h"

#include <algorithm>

namespace tarsion::http {

void header_list::append(std::string name, std::string value)
{
    headers_.emplace_back(std::move(name), std::move(value));
}

void header_list::remove_all(std::string_view name)
{
    std::erase_if(headers_, [name](const header& h) { return h.first == name; });
}

const header* header_list::find(std::string_view name) const noexcept
{
    const auto it = std::ranges::find(headers_, name, &header::first);
    return it == headers_.end() ? nullptr : &*it;
}

} // namespace tarsion::http
