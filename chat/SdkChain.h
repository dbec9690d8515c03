#pragma once

#include <memory>

#include <QString>

#include "chat/EntityDumper.h"
#include "chat/SdkAdapter.h"

namespace QuorvelSdk {
class IAuthTokenProvider;
class QtHttpNetworkService;
} // namespace QuorvelSdk

namespace QuorvelChat {

// What the chain builder needs to assemble a back end for one identity.
struct SdkChainSettings
{
    // Not owned; must outlive the chain.
    QuorvelSdk::QtHttpNetworkService* networkService = nullptr;
    // Not owned; must outlive the chain.
    QuorvelSdk::IAuthTokenProvider* tokenProvider = nullptr;
    QString baseUrl;
    QString businessId;
    QString businessIdSuffix;
    // 1 is a customer principal; 0 the one the host signs in.
    quint32 principalKind = 0;
    quint32 adapterThreads = 4;
    // Renders the resolved entity into Chat::rawDump.
    EntityDumper dumpEntity;
};

// Transport, random source, token factory, tenant with the system's retry
// policy, duty-channel resolver ("EN_US"), back-end adapter, SdkAdapter: in
// that order. Cancelling the adapter ends the chain's exchanges and retry
// waits. Throws only on allocation failure, leaving nothing behind.
std::unique_ptr<SdkAdapter> buildSdkChain(const SdkChainSettings& settings);

} // namespace QuorvelChat
