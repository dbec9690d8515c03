#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "sdk/core/error.h"
#include "sdk/core/tenant.h"

namespace tarsion {

// The base of every API class: hands a request to its tenant's pipeline.
class api_base
{
public:
    explicit api_base(std::shared_ptr<tarsion::tenant> tenant) : tenant_(std::move(tenant)) {}
    virtual ~api_base() = default;

    expected<http_response> call(const std::string& verb, const std::string& path_template,
                                 const http::header_list& headers, const http::http_base::body_factory* body,
                                 std::int64_t transport_option, bool disable_redirects,
                                 bool retry_any_verb) const;

protected:
    std::shared_ptr<tarsion::tenant> tenant_;
};

} // namespace tarsion
