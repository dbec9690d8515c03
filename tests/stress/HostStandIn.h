#pragma once

#include <QString>

#include <Vyx/CTarsionApp.h>
#include <Vyx/CVyxAccount.h>

#include "SlowHttpServer.h"

namespace QuorvelStress {

// The host's application and account objects, as the plug-in finds them,
// pointed at `server` for one business.
struct HostStandIn
{
    HostStandIn(const SlowHttpServer& server, const QString& businessId)
    {
        app.setAccount(&account);
        app.setBaseUrl(QString::fromLatin1(server.baseUrl()));
        app.setVyxBusinessId(businessId);
    }

    CTarsionApp app;
    CVyxAccount account;
};

} // namespace QuorvelStress
