#include "transport_fixture.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QHostAddress>
#include <QTcpSocket>

namespace QuorvelTest {
void TransportTest::SetUp()
{
    ASSERT_NE(server.start(), 0);
    service = std::make_unique<QuorvelSdk::QtHttpNetworkService>();
    transport = std::make_unique<QuorvelSdk::QtHttpTransport>(service.get());
}

std::string TransportTest::url(const std::string& path) const
{
    return server.baseUrl().toStdString() + path;
}

Exchange TransportTest::send(const std::string& verb, const std::string& target,
                             const tarsion::http::header_list& headers, tarsion::http::http_base::body* body,
                             bool disableRedirects)
{
    auto* t = transport.get();
    std::optional<Exchange> done = runOffThread<Exchange>(
        [&] {
            Exchange e;
            e.result = t->send(verb, target, headers, body, disableRedirects, 0, e.response);
            return e;
        },
        [this] { service.reset(); });
    return done.value_or(Exchange{});
}

Exchange TransportTest::sendText(const std::string& verb, const std::string& path, const std::string& text,
                                 const tarsion::http::header_list& headers)
{
    tarsion::http::string_body::factory factory(text);
    auto body = factory.create_body();
    return send(verb, url(path), headers, body.get());
}

bool waitUntil(const std::function<bool()>& done)
{
    QElapsedTimer clock;
    clock.start();
    while (!done()) {
        if (clock.elapsed() > kWatchdog.count())
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    }
    return true;
}

quint16 SilentServer::start()
{
    return listen(QHostAddress::LocalHost, 0) ? serverPort() : 0;
}

int SilentServer::accepted() const
{
    QMutexLocker locker(&m_lock);
    return m_accepted;
}

void SilentServer::incomingConnection(qintptr handle)
{
    auto* socket = new QTcpSocket(this);
    socket->setSocketDescriptor(handle);
    QMutexLocker locker(&m_lock);
    ++m_accepted;
}

} // namespace QuorvelTest
