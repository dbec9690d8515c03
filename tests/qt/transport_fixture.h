#pragma once

#include <functional>
#include <memory>
#include <optional>

#include <QMutex>
#include <QStringList>
#include <QTcpServer>

#include <gtest/gtest.h>

#include "sdk/core/string_body.h"
#include "sdk/qt/QtHttpNetworkService.h"
#include "sdk/qt/QtHttpTransport.h"
#include "support/qt/LogCapture.h"
#include "support/qt/OffThread.h"
#include "support/qt/ScriptedHttpServer.h"

namespace QuorvelTest {

// Spins this thread's events until `done` holds or the watchdog fires.
bool waitUntil(const std::function<bool()>& done);

// One exchange's outcome as a test sees it.
struct Exchange
{
    std::int32_t result = -1;
    tarsion::http_response response;
};

// A network service, a transport over it and a scripted loopback server.
// Sends run off the main thread, which keeps serving the server; every send
// is bounded by the watchdog.
class TransportTest : public ::testing::Test
{
protected:
    void SetUp() override;

    Exchange send(const std::string& verb, const std::string& url,
                  const tarsion::http::header_list& headers = {},
                  tarsion::http::http_base::body* body = nullptr, bool disableRedirects = false);
    Exchange sendText(const std::string& verb, const std::string& path, const std::string& text,
                      const tarsion::http::header_list& headers = {});
    std::string url(const std::string& path) const;

    ScriptedHttpServer server;
    std::unique_ptr<QuorvelSdk::QtHttpNetworkService> service;
    std::unique_ptr<QuorvelSdk::QtHttpTransport> transport;
};

// Accepts connections and never answers.
class SilentServer : public QTcpServer
{
public:
    quint16 start();
    int accepted() const;

protected:
    void incomingConnection(qintptr handle) override;

private:
    mutable QMutex m_lock;
    int m_accepted = 0;
};

} // namespace QuorvelTest
