#include "sdk/core/api_base.h"

namespace tarsion {

expected<http_response> api_base::call(const std::string& verb, const std::string& path_template,
                                       const http::header_list& headers,
                                       const http::http_base::body_factory* body,
                                       std::int64_t transport_option, bool disable_redirects,
                                       bool retry_any_verb) const
{
    if (!tenant_)
        return make_error(error_kind::missing_configuration, 0, "API called, but tenant pointer is null.");
    return tenant_->execute(verb, path_template, headers, body, transport_option, disable_redirects,
                            retry_any_verb);
}

} // namespace tarsion
