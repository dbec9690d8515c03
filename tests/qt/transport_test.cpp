// The Qt transport against a real loopback server: which redirects it
// follows, how it sends a body, how it limits a reply, and that it keeps no
// cookies. The rest of what goes out and comes back is decided by the
// end-to-end suite.
#include <algorithm>
#include <optional>
#include <tuple>

#include <QLoggingCategory>
#include <QMetaEnum>
#include <QNetworkReply>
#include <QRegularExpression>
#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>
#include <QTimer>

#include "sdk/core/string_body.h"
#include "sdk/qt/TransportErrors.h"
#include "sdk/qt/detail/CredentialPolicy.h"
#include "sdk/qt/detail/RedirectPolicy.h"
#include "support/qt/ScriptedHttpServer.h"
#include "transport_fixture.h"

namespace QuorvelTest {
namespace {

// One exchange's outcome as a test sees it.
struct Exchange
{
    std::int32_t result = -1;
    tarsion::http_response response;
};

// A network service, a transport over it and a scripted loopback server.
// Sends run off the main thread, which keeps serving the server.
class TransportTest : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_NE(server.start(), 0); }

    Exchange send(const std::string& verb, const std::string& path, const std::string& text = {},
                  bool disableRedirects = false)
    {
        tarsion::http::string_body::factory factory(text);
        auto body = text.empty() ? nullptr : factory.create_body();
        return send(verb, path, body.get(), disableRedirects);
    }

    Exchange send(const std::string& verb, const std::string& path, tarsion::http::http_base::body* body,
                  bool disableRedirects = false)
    {
        return sendTo(verb, server.baseUrl().toStdString() + path, body, disableRedirects);
    }

    Exchange sendTo(const std::string& verb, const std::string& url, tarsion::http::http_base::body* body,
                    bool disableRedirects = false)
    {
        return runOffThread<Exchange>(
                   [&] {
                       Exchange e;
                       e.result = transport.send(verb, url, {{"Authorization", "Bearer secret"}}, body,
                                                 disableRedirects, 0, e.response);
                       return e;
                   },
                   [this] { service.reset(); })
            .value_or(Exchange{});
    }

    ScriptedHttpServer server;
    std::unique_ptr<QuorvelSdk::QtHttpNetworkService> service =
        std::make_unique<QuorvelSdk::QtHttpNetworkService>();
    QuorvelSdk::QtHttpTransport transport{service.get()};
};

// Credentials go with every request: a redirect is followed only within the
// request's origin (scheme, host and port, each changed alone here) and
// only where Qt keeps the verb and the body, over one network service for
// every exchange. A caller that disables redirects gets them as they stand.
TEST_F(TransportTest, RedirectsAreFollowedOnlyWithinTheOriginAndTheVerb)
{
    ScriptedHttpServer otherPort;
    ScriptedHttpServer otherHost;
    ASSERT_NE(otherPort.start(), 0);
    const QString port = QString::number(QUrl(server.baseUrl()).port());
    // Another loopback address on the same port, where the system allows it.
    const bool hasOtherHost =
        otherHost.start(QHostAddress(QStringLiteral("127.0.0.2")), quint16(port.toUInt())) != 0;
    const struct
    {
        const char* name;
        ScriptedHttpServer* target;
        QString location;
    } origins[] = {
        {"same origin", &server, QStringLiteral("/final")},
        {"other scheme", &server, QStringLiteral("https://127.0.0.1:") + port + QStringLiteral("/final")},
        {"other port", &otherPort, otherPort.baseUrl() + QStringLiteral("/final")},
        {"other host", &otherHost, QStringLiteral("http://127.0.0.2:") + port + QStringLiteral("/final")},
    };
    for (const auto& origin : origins) {
        if (origin.target == &otherHost && !hasOtherHost)
            continue;
        for (const int status : {301, 302, 303, 307, 308}) {
            for (const std::string verb : {"GET", "HEAD", "POST", "PUT", "DELETE"}) {
                for (const bool disabled : {false, true}) {
                    SCOPED_TRACE(::testing::Message() << origin.name << ", " << status << " " << verb
                                                      << (disabled ? ", redirects disabled" : ""));
                    server.route("/start", {status, {{"Location", origin.location.toUtf8()}}, ""});
                    const qsizetype before = origin.target->received().size();
                    LogCapture log;
                    const std::string body = verb == "GET" || verb == "HEAD" ? "" : "{\"q\":1}";
                    const Exchange e = send(verb, "/start", body, disabled);
                    const QList<ScriptedHttpServer::Received> reached = origin.target->received().mid(before);
                    const bool followed = !disabled && origin.target == &server
                                          && origin.location.startsWith(u'/')
                                          && (status == 307 || status == 308 || verb == "GET");
                    if (disabled) {
                        EXPECT_EQ(e.result, 0);
                        EXPECT_EQ(e.response.status, std::uint32_t(status));
                        ASSERT_NE(e.response.headers.find("Location"), nullptr);
                        EXPECT_EQ(e.response.headers.find("Location")->second, origin.location.toStdString());
                    } else if (followed) {
                        ASSERT_EQ(e.result, 0);
                        EXPECT_EQ(e.response.status, 200u);
                        // Qt may send the first request again on a fresh connection.
                        ASSERT_FALSE(reached.isEmpty());
                        EXPECT_EQ(reached.last().target, "/final");
                        EXPECT_EQ(reached.last().method.toUpper().toStdString(), verb);
                        EXPECT_EQ(reached.last().body.toStdString(), body);
                        EXPECT_EQ(reached.last().header("Authorization"), "Bearer secret");
                    } else {
                        EXPECT_EQ(e.result, QNetworkReply::InsecureRedirectError);
                        EXPECT_EQ(e.response.status, 0u);
                        EXPECT_EQ(log.count("redirect"), 1) << log.messages().join('\n').toStdString();
                    }
                    if (!followed) {
                        const auto finals = std::count_if(reached.begin(), reached.end(),
                                                          [](const auto& r) { return r.target == "/final"; });
                        EXPECT_EQ(finals, 0);
                    }
                }
            }
        }
    }
}

// A URL without a port names its scheme's default one; scheme and host are
// compared without regard to case.
TEST(RedirectPolicy, AnOriginsPortIsItsSchemesDefaultWhenUnsaid)
{
    const std::tuple<const char*, const char*, bool> rows[] = {
        {"https://h/a", "https://h:443/b", true}, {"http://h/a", "http://h:80/b", true},
        {"https://h/a", "https://h:80/b", false}, {"http://h/a", "http://h:443/b", false},
        {"HTTPS://H/a", "https://h/b", true},     {"http://h:8080/", "http://h:8081/", false},
    };
    for (const auto& [from, to, sameOrigin] : rows)
        EXPECT_EQ(QuorvelSdk::detail::redirectRefusal(QUrl(from), QUrl(to), 307, "POST") == nullptr,
                  sameOrigin)
            << from << " to " << to;
}

// A bearer token goes over https, or over plain http to this machine only.
TEST(CredentialPolicy, ATokenGoesInPlainTextOnlyToThisMachine)
{
    using QuorvelSdk::detail::exposesCredentials;
    const QList<std::pair<QByteArray, QByteArray>> token{{"authorization", "Bearer t"}};
    for (const char* url : {"http://192.0.2.1/q", "HTTP://example.com/q", "http://localhost.example.com/q"})
        EXPECT_TRUE(exposesCredentials(QUrl(url), token)) << url;
    for (const char* url :
         {"http://127.0.0.1:9/q", "http://127.8.0.1/q", "http://[::1]/q", "http://localhost/q",
          "http://LocalHost:8080/q", "https://192.0.2.1/q", "HTTPS://example.com/q"})
        EXPECT_FALSE(exposesCredentials(QUrl(url), token)) << url;
    EXPECT_FALSE(
        exposesCredentials(QUrl("http://192.0.2.1/q"), {{"Authorization", ""}, {"X-Token", "Bearer t"}}));
}

// Every failure the transport names has a sentence of its own, and any
// other number is named by Qt's name for it, or by the number itself.
TEST(TransportErrors, EachCauseHasASentenceOfItsOwn)
{
    using QuorvelSdk::TransportError::describe;
    const QMetaEnum qt = QMetaEnum::fromType<QNetworkReply::NetworkError>();
    QSet<QString> own{describe(QuorvelSdk::TransportError::DeadlinePassed)};
    for (int i = 0; i < qt.keyCount(); ++i) {
        if (const QString text = describe(qt.value(i));
            text != QStringLiteral("The network failed (%1).").arg(qt.key(i)))
            own.insert(text);
    }
    // The transport's eight causes and the four network failures met most.
    EXPECT_EQ(own.size(), 12);
    for (const QString& text : own)
        EXPECT_TRUE(text.front().isUpper() && text.endsWith(u'.') && !text.contains(u"::"))
            << text.toStdString();
    EXPECT_EQ(describe(4242), u"The network failed (4242).");
}

// A request body as another user of the SDK might write one: read in pieces
// of its own size, with a length it may not know or may get wrong, and a
// read that may fail halfway; and whether it is sent.
struct BodyRow
{
    const char* name;
    std::size_t length;
    std::optional<std::uint64_t> announced;
    std::size_t piece;
    bool fails;
    bool sent;
};

class PiecewiseBody final : public tarsion::http::http_base::body
{
public:
    explicit PiecewiseBody(const BodyRow& bodyRow) : row(bodyRow) {}

    static char byteAt(std::size_t at) { return static_cast<char>(at % 251); }

    bool size(std::uint64_t& length) const override
    {
        length = row.announced.value_or(0);
        return row.announced.has_value();
    }

    bool read(char* buffer, std::uint64_t capacity, std::uint64_t& count) override
    {
        if (row.fails && at > 0)
            return false;
        count = std::min<std::uint64_t>({capacity, row.piece, row.length - at});
        for (std::uint64_t i = 0; i < count; ++i)
            buffer[i] = byteAt(at++);
        return true;
    }

private:
    const BodyRow& row;
    std::size_t at = 0;
};

// A body is read whole before anything is sent: a body that cannot be read,
// or that ends elsewhere than it said, never reaches the server in part.
const BodyRow kBodyRows[] = {
    {"UnknownLengthInPiecesSmallerThanAProbe", 10000, std::nullopt, 3000, false, true},
    {"UnknownLengthInOneRead", 10000, std::nullopt, 1 << 20, false, true},
    {"KnownLengthInPieces", 10000, 10000, 999, false, true},
    {"ShorterThanAnnounced", 5000, 6000, 1 << 20, false, false},
    {"LongerThanAnnounced", 6000, 5000, 1 << 20, false, false},
    {"AnnouncesFarMoreThanItHolds", 100, std::uint64_t{1} << 62, 1 << 20, false, false},
    {"ReadFailsHalfway", 10000, 10000, 4000, true, false},
    {"ReadFailsHalfwayAtUnknownLength", 10000, std::nullopt, 4000, true, false},
};

class RequestBody : public TransportTest, public ::testing::WithParamInterface<BodyRow>
{
};

TEST_P(RequestBody, IsSentWholeOrNotAtAll)
{
    PiecewiseBody body(GetParam());
    LogCapture log;
    const Exchange exchange = send("POST", "/body", &body);
    if (!GetParam().sent) {
        EXPECT_EQ(exchange.result, QNetworkReply::ContentReSendError);
        EXPECT_EQ(log.count("request body"), 1) << log.messages().join('\n').toStdString();
        // A request that reaches the server comes before the next one.
        ASSERT_EQ(send("GET", "/next").result, 0);
        ASSERT_EQ(server.received().size(), 1);
        EXPECT_EQ(server.received().at(0).target, "/next");
        return;
    }
    QByteArray expected(qsizetype(GetParam().length), '\0');
    for (qsizetype i = 0; i < expected.size(); ++i)
        expected[i] = PiecewiseBody::byteAt(std::size_t(i));
    EXPECT_EQ(exchange.result, 0);
    ASSERT_EQ(server.received().size(), 1);
    EXPECT_EQ(server.received().at(0).body, expected);
    EXPECT_EQ(server.received().at(0).header("Content-Length"), QByteArray::number(expected.size()));
}

INSTANTIATE_TEST_SUITE_P(Rows, RequestBody, ::testing::ValuesIn(kBodyRows),
                         [](const auto& info) { return std::string(info.param.name); });

using TransportReply = TransportTest;

// The limit is the largest reply taken: one byte more is refused.
TEST_F(TransportReply, ABodyOfExactlyTheLimitArrivesWholeAndOneByteMoreIsRefused)
{
    constexpr qint64 kLimit = 64 * 1024;
    service->setLimits({kLimit, 0});
    server.push({200, {}, QByteArray(kLimit, 'x')});
    server.push({200, {}, QByteArray(kLimit + 1, 'x')});
    const Exchange whole = send("GET", "/whole");
    EXPECT_EQ(whole.result, 0);
    EXPECT_EQ(whole.response.body.size(), std::size_t(kLimit));

    const Exchange over = send("GET", "/over");
    EXPECT_EQ(over.result, QNetworkReply::UnknownContentError);
    EXPECT_EQ(over.response.status, 0u);
    EXPECT_TRUE(over.response.body.empty());
}

// Inactivity counts from an exchange's start. A GET, which sends nothing
// after its request, to a new service that answers within the limit but
// after the network thread has looked for stalled exchanges, is answered.
TEST_F(TransportReply, AGetAnsweredWithinTheInactivityLimitArrivesOnAFreshService)
{
    // Looked at every 500 ms; the answer comes after 800.
    service->setLimits({64 * 1024, 2000});
    QTcpServer slow;
    ASSERT_TRUE(slow.listen(QHostAddress::LocalHost, 0));
    QObject::connect(&slow, &QTcpServer::newConnection, [&slow] {
        QTcpSocket* socket = slow.nextPendingConnection();
        QTimer::singleShot(800, socket, [socket] {
            socket->write("HTTP/1.1 200 OK\r\nContent-Length: 4\r\nConnection: close\r\n\r\nslow");
        });
    });
    LogCapture log;
    const Exchange e =
        sendTo("GET", "http://127.0.0.1:" + std::to_string(slow.serverPort()) + "/slow", nullptr);
    EXPECT_EQ(e.result, 0) << log.messages().join('\n').toStdString();
    EXPECT_EQ(e.response.body, "slow");
}

// A reply that keeps trickling ends at the deadline, the only time limit.
TEST_F(TransportReply, AReplyStillTricklingAtTheDeadlineEnds)
{
    service->setLimits({64 * 1024, 0, 1});
    QTcpServer trickle;
    ASSERT_TRUE(trickle.listen(QHostAddress::LocalHost, 0));
    QTimer drip;
    QObject::connect(&trickle, &QTcpServer::newConnection, [&] {
        QTcpSocket* socket = trickle.nextPendingConnection();
        socket->write("HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n");
        QObject::connect(&drip, &QTimer::timeout, socket, [socket] { socket->write("x"); });
        drip.start(20);
    });
    LogCapture log;
    const Exchange e =
        sendTo("GET", "http://127.0.0.1:" + std::to_string(trickle.serverPort()) + "/slow", nullptr);
    EXPECT_EQ(e.result, QuorvelSdk::TransportError::DeadlinePassed);
    EXPECT_EQ(log.count("not over after 1 ms"), 1) << log.messages().join('\n').toStdString();
}

// With debug lines on, each exchange ends in one line: its verb, its URL
// without user-info, and its status or error number. A warning names both,
// and shows what the service wrote (a redirect's Location) in the page's
// notation, never a bidirectional override or a line break raw. A cookie
// one reply sets is neither kept nor sent with the next request.
TEST_F(TransportReply, EachExchangeIsTracedOnOneLineAndNoCookieIsKept)
{
    QLoggingCategory::setFilterRules(QStringLiteral("vyx.plugin.chat.debug=true"));
    server.push({200, {{"Set-Cookie", "session=abc; Path=/"}}, "first"});
    server.push({204, {}, ""});
    server.route("/moved", {307,
                            {{"Location", "http://127.0.0.2:9/a\xE2\x80\xAE"
                                          "b\xE2\x80\xA8"
                                          "c"}},
                            ""});
    LogCapture log;
    send("GET", "/one?a=1");
    sendTo("DELETE", server.baseUrl().toStdString().insert(7, "u:pw@") + "/two", nullptr);
    send("POST", "/moved", "{}");
    service->setLimits({1, 0});
    send("GET", "/three");
    QLoggingCategory::setFilterRules({});
    const QString traced =
        log.messages()
            .join(u'\n')
            .replace(server.baseUrl(), QStringLiteral("ORIGIN"))
            .replace(QRegularExpression(QStringLiteral(" in \\d+ ms")), QStringLiteral(" in N ms"));
    EXPECT_EQ(traced, QStringLiteral(
                          "QtHttpNetworkService: GET ORIGIN/one?a=1 status 200 in N ms\n"
                          "QtHttpNetworkService: DELETE ORIGIN/two status 204 in N ms\n"
                          "QtHttpNetworkService: redirect to another origin refused (status 307, to "
                          "http://127.0.0.2:9/a\u27E8U+202E\u27E9b\u27E8U+2028\u27E9c); verb \"POST\" url "
                          "\"ORIGIN/moved\"\n"
                          "QtHttpNetworkService: POST ORIGIN/moved failed 11 in N ms\n"
                          "QtHttpNetworkService: reply announces 2 bytes, more than the limit of 1; exchange "
                          "aborted; verb \"GET\" url \"ORIGIN/three\"\n"
                          "QtHttpNetworkService: GET ORIGIN/three failed 299 in N ms"));
    for (const auto& received : server.received())
        EXPECT_EQ(received.count("Cookie"), 0) << received.target.toStdString();
    // Named for debuggers and logs.
    EXPECT_EQ(service->findChild<QThread*>()->objectName(), "QuorvelSdk-Net");
}

} // namespace
} // namespace QuorvelTest
