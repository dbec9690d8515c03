#pragma once

#include "sdk/core/token_factory.h"

namespace QuorvelSdk {

class IAuthTokenProvider;

// The SDK's token source over a Qt-side provider.
class QtTokenFactory : public tarsion::token_factory
{
public:
    // `provider` is not owned and must outlive the factory.
    explicit QtTokenFactory(IAuthTokenProvider* provider);

    std::string get_token() override;
    // Returns the current token without renewing when it already differs
    // from the failed one (somebody renewed meanwhile); otherwise renews.
    tarsion::expected<std::string> refresh_token(const std::string& failed_token) override;

private:
    IAuthTokenProvider* provider;
};

} // namespace QuorvelSdk
