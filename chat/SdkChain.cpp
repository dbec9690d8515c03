#include "chat/SdkChain.h"

#include "chat/DutyChannelChatResolver.h"
#include "chat/QuorvelBackendAdapter.h"
#include "sdk/core/c_random.h"
#include "sdk/core/standard_retry_policy.h"
#include "sdk/core/tenant.h"
#include "sdk/qt/ExchangeCancellation.h"
#include "sdk/qt/QtHttpTransport.h"
#include "sdk/qt/QtTokenFactory.h"

namespace QuorvelChat {

std::unique_ptr<SdkAdapter> buildSdkChain(const SdkChainSettings& settings)
{
    auto cancellation = std::make_shared<QuorvelSdk::ExchangeCancellation>(settings.networkService);
    auto transport = std::make_shared<QuorvelSdk::QtHttpTransport>(settings.networkService);
    transport->setCancellation(cancellation);
    auto random = std::make_shared<tarsion::random::c_random>();
    auto tokens = std::make_unique<QuorvelSdk::QtTokenFactory>(settings.tokenProvider);

    tarsion::tenant_base base;
    base.base_url = settings.baseUrl.toStdString();
    base.http_client = std::move(transport);
    base.random = std::move(random);
    base.business_id = settings.businessId.toStdString();
    base.business_id_suffix = settings.businessIdSuffix.toStdString();
    tarsion::use_standard_retry_policy(base);
    auto tenant = std::make_shared<tarsion::tenant>(std::move(base), std::move(tokens));
    tenant->sleep = [cancellation](std::uint32_t seconds) {
        QuorvelSdk::ExchangeCancellation::current(cancellation.get())->sleep(seconds);
    };

    auto resolver = std::make_unique<DutyChannelChatResolver>(tenant, settings.principalKind,
                                                              QStringLiteral("EN_US"), settings.dumpEntity);
    auto backend = std::make_unique<QuorvelBackendAdapter>(std::move(tenant), settings.principalKind,
                                                           std::move(resolver),
                                                           qint32(settings.adapterThreads), cancellation);
    auto adapter = std::make_unique<SdkAdapter>(std::move(backend));
    adapter->setCanceller([cancellation] { cancellation->cancel(); });
    return adapter;
}

} // namespace QuorvelChat
