#include "EmulatorHarness.h"

#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimer>
#include <QSet>
#include <QStringDecoder>

namespace QuorvelEmulatorTest {
namespace {

const QString kDemo = QStringLiteral("demo");
constexpr qsizetype kMiB = 1024 * 1024;
// Streaming faults replace the token reply whatever the form says.
const QByteArray kRawTokenRequest =
    QByteArrayLiteral("POST /oauth/token HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Length: 1\r\n\r\nx");

// The one title every TICKET_TITLE locale shows as display and value;
// empty when there is none or they differ.
QByteArray shownTitle(const Reply& reply)
{
    QSet<QString> titles;
    for (const QJsonValue& entity : reply.json().array()) {
        for (const QJsonValue& attribute : entity[QLatin1String("attributeValues")].toArray()) {
            if (attribute[QLatin1String("attributeKey")].toString() != QLatin1String("TICKET_TITLE"))
                continue;
            for (const QJsonValue& locale : attribute[QLatin1String("valueLocales")].toArray()) {
                titles.insert(locale[QLatin1String("display")].toString());
                titles.insert(locale[QLatin1String("value")].toString());
            }
        }
    }
    return titles.size() == 1 ? titles.begin()->toUtf8() : QByteArray();
}

// An emulator with one token issued before any fault is queued.
class EmulatorFaults : public ::testing::Test
{
protected:
    Reply query(const QByteArray& bearer) { return emulator.query(kDemo, kDutyChannelQuery, bearer); }
    Reply query() { return query(token); }
    QNetworkReply* startQuery() { return emulator.startQuery(kDemo, kDutyChannelQuery, token); }
    RawExchange rawQuery() { return emulator.raw(emulator.rawQueryRequest(kDemo, kDutyChannelQuery, token)); }

    QByteArray rawQueryRequest() { return emulator.rawQueryRequest(kDemo, kDutyChannelQuery, token); }
    qint64 listedStreams()
    {
        return emulator.send("GET", QStringLiteral("/_emulator/stats"))
            .json()
            .object()
            .value(QLatin1String("streams"))
            .toInteger(-1);
    }

    EmulatorHarness emulator;
    const QByteArray token = emulator.token();
};

TEST_F(EmulatorFaults, StatusFaultsAnswerTheNextQueriesInQueueOrder)
{
    emulator.addFault(R"([{"kind":"status","status":429,"retryAfter":"7","body":"slow down"},)"
                      R"( {"kind":"status","status":503,"retryAfter":"Wed, 21 Oct 2015 07:28:00 GMT"},)"
                      R"( {"kind":"status","status":307,"location":"http://127.0.0.2:9/x"}])");

    const Reply first = query();
    const Reply second = query();
    const Reply redirect = query();
    const Reply third = query();

    EXPECT_EQ(first.status, 429);
    EXPECT_EQ(first.header("Retry-After"), "7");
    EXPECT_EQ(first.body, "slow down");
    EXPECT_EQ(first.header("Content-Type"), "text/plain; charset=utf-8");
    EXPECT_EQ(second.status, 503);
    EXPECT_EQ(second.header("Retry-After"), "Wed, 21 Oct 2015 07:28:00 GMT");
    EXPECT_EQ(second.message(), QStringLiteral("Injected fault: HTTP 503"));
    EXPECT_EQ(redirect.status, 307);
    EXPECT_EQ(redirect.header("Location"), "http://127.0.0.2:9/x");
    EXPECT_EQ(third.status, 200);
}

TEST_F(EmulatorFaults, EmptyRetryAfterIsSentAsAnEmptyHeader)
{
    emulator.addFault(R"({"kind":"status","status":429,"retryAfter":""})");

    const RawExchange exchange = rawQuery();

    EXPECT_TRUE(exchange.head().startsWith("HTTP/1.1 429")) << exchange.head().toStdString();
    EXPECT_TRUE(exchange.head().contains("\r\nRetry-After: \r\n")) << exchange.head().toStdString();
}

TEST_F(EmulatorFaults, TimesCountsRequestsAndMinusOneLastsUntilCleared)
{
    emulator.addFault(R"({"kind":"status","status":502,"times":2})");
    EXPECT_EQ(query().status, 502);
    EXPECT_EQ(query().status, 502);
    EXPECT_EQ(query().status, 200);

    // 599 is not a status Qt's responder can name; it must still go out.
    emulator.addFault(R"({"kind":"status","status":599,"times":-1})");
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(query().status, 599);

    const Reply cleared = emulator.send("DELETE", QStringLiteral("/_emulator/faults"));
    EXPECT_EQ(cleared.json().object().value(QLatin1String("cleared")).toInteger(), 1);
    EXPECT_EQ(query().status, 200);
}

TEST_F(EmulatorFaults, DelayedReplyDoesNotHoldUpOtherRequests)
{
    emulator.addFault(R"({"kind":"delay","delayMs":1500})");

    QElapsedTimer clock;
    clock.start();
    QNetworkReply* delayed = startQuery();
    const Reply other = query();
    const bool delayedStillPending = !delayed->isFinished();
    const Reply late = emulator.wait(delayed);
    const qint64 lateDoneAt = clock.elapsed();

    EXPECT_EQ(other.status, 200);
    EXPECT_TRUE(delayedStillPending);
    ASSERT_TRUE(late.finished);
    EXPECT_EQ(late.status, 200);
    EXPECT_EQ(late.json().array().size(), 1);
    EXPECT_GE(lateDoneAt, 1500);
}

TEST_F(EmulatorFaults, ClientHangingUpWhileAReplyIsHeldBackIsHarmless)
{
    emulator.addFault(R"([{"kind":"delay","delayMs":300},{"kind":"stall","delayMs":300,"bytes":10}])");

    QNetworkReply* delayed = startQuery();
    QNetworkReply* stalled = startQuery();
    QEventLoop loop;
    QTimer::singleShot(100, &loop, [&] {
        delayed->abort();
        stalled->abort();
    });
    // Past both timers, so that they fire on connections that are gone.
    QTimer::singleShot(800, &loop, &QEventLoop::quit);
    loop.exec();
    delayed->deleteLater();
    stalled->deleteLater();

    EXPECT_EQ(emulator.server().faults().size(), 0);
    EXPECT_EQ(query().status, 200);
}

TEST_F(EmulatorFaults, NonJsonFaultSendsAnHtmlPage)
{
    emulator.addFault(
        R"([{"kind":"nonjson"},{"kind":"nonjson","status":502,"body":"<h1>Bad gateway</h1>"}])");

    const Reply page = query();
    const Reply gateway = query();

    EXPECT_EQ(page.status, 200);
    EXPECT_EQ(page.header("Content-Type"), "text/html; charset=utf-8");
    EXPECT_TRUE(page.body.startsWith("<!DOCTYPE html>"));
    EXPECT_TRUE(page.json().isNull());
    EXPECT_EQ(gateway.status, 502);
    EXPECT_EQ(gateway.body, "<h1>Bad gateway</h1>");
}

TEST_F(EmulatorFaults, ObjectFaultWrapsTheResultInAnObject)
{
    emulator.addFault(R"({"kind":"object"})");

    const Reply reply = query();

    ASSERT_EQ(reply.status, 200);
    ASSERT_TRUE(reply.json().isObject()) << reply.body.toStdString();
    EXPECT_EQ(reply.json().object().value(QLatin1String("value")).toArray().size(), 1);
}

TEST_F(EmulatorFaults, ExpireFaultEndsTheCallersTokenOnlyAndARenewedOneWorks)
{
    const QByteArray bystander = emulator.token();
    emulator.addFault(R"({"kind":"expire","after":1})");

    EXPECT_EQ(query().status, 200);
    const Reply refused = query();
    EXPECT_EQ(refused.status, 401);
    EXPECT_EQ(refused.message(), QStringLiteral("Access token expired"));
    EXPECT_EQ(query().status, 401);
    EXPECT_EQ(query(bystander).status, 200);
    EXPECT_EQ(query(emulator.token()).status, 200);
}

TEST_F(EmulatorFaults, CloseFaultDropsTheConnectionHalfwayThroughTheBody)
{
    emulator.addFault(R"({"kind":"close"})");

    const RawExchange exchange = rawQuery();

    EXPECT_TRUE(exchange.closedByServer);
    EXPECT_TRUE(exchange.head().startsWith("HTTP/1.1 200")) << exchange.head().toStdString();
    ASSERT_GT(exchange.contentLength(), 100);
    EXPECT_EQ(exchange.body().size(), exchange.contentLength() / 2);
}

TEST_F(EmulatorFaults, TruncateFaultPromisesMoreThanItSendsThenCloses)
{
    emulator.addFault(R"({"kind":"truncate","bytes":10})");

    const RawExchange exchange = rawQuery();

    EXPECT_TRUE(exchange.closedByServer);
    EXPECT_EQ(exchange.body(), "[{\"attribu");
    EXPECT_GT(exchange.contentLength(), 10);

    emulator.addFault(R"({"kind":"truncate"})");
    const Reply seenByClient = query();
    EXPECT_TRUE(seenByClient.finished);
    EXPECT_NE(seenByClient.error, QNetworkReply::NoError);
}

TEST_F(EmulatorFaults, StallFaultPausesInsideTheBodyThenCompletesIt)
{
    emulator.addFault(R"({"kind":"stall","bytes":100,"delayMs":700})");

    const RawExchange exchange = rawQuery();

    // The head and the first 100 body bytes come together, then nothing
    // until the pause is over.
    const qsizetype firstPart = exchange.head().size() + 4 + 100;
    qsizetype pauseAt = -1;
    for (qsizetype i = 0; i < exchange.arrivals.size(); ++i) {
        if (exchange.arrivals.at(i).second >= firstPart) {
            pauseAt = i;
            break;
        }
    }
    ASSERT_GE(pauseAt, 0);
    ASSERT_LT(pauseAt + 1, exchange.arrivals.size());
    EXPECT_EQ(exchange.arrivals.at(pauseAt).second, firstPart);
    EXPECT_GE(exchange.arrivals.at(pauseAt + 1).first - exchange.arrivals.at(pauseAt).first, 500);
    EXPECT_GE(exchange.arrivals.last().first, 700);
    EXPECT_EQ(exchange.body().size(), exchange.contentLength());
    EXPECT_TRUE(QJsonDocument::fromJson(exchange.body()).isArray());
    EXPECT_FALSE(exchange.closedByServer);
}

TEST_F(EmulatorFaults, LargeFaultRepeatsTheResultWithDistinctIds)
{
    emulator.addFault(R"([{"kind":"large","count":1000},{"kind":"large","bytes":300000}])");

    const Reply counted = query();
    const Reply sized = query();

    const QJsonArray entities = counted.json().array();
    ASSERT_EQ(entities.size(), 1000);
    QSet<QString> ids;
    for (const QJsonValue& entity : entities)
        ids.insert(entity.toObject().value(QLatin1String("id")).toString());
    EXPECT_EQ(ids.size(), 1000);
    EXPECT_EQ(entities.at(0).toObject().value(QLatin1String("id")).toString(),
              QStringLiteral("5885e99b-527d-4893-af14-46c61299024e"));
    EXPECT_EQ(entities.at(999).toObject().value(QLatin1String("attributeValues")),
              entities.at(0).toObject().value(QLatin1String("attributeValues")));

    EXPECT_GE(sized.body.size(), 300000);
    EXPECT_LT(sized.body.size(), 302000);
    EXPECT_TRUE(sized.json().isArray());
}

TEST_F(EmulatorFaults, NestedFaultSendsArraysDeeperThanParsersAllow)
{
    emulator.addFault(R"({"kind":"nested","depth":3000})");

    const Reply reply = query();

    EXPECT_EQ(reply.status, 200);
    EXPECT_EQ(reply.body, QByteArray(3000, '[') + QByteArray(3000, ']'));
}

TEST_F(EmulatorFaults, InvalidUtf8FaultBreaksTheEncodingOfTheResult)
{
    emulator.addFault(R"({"kind":"invalidutf8"})");

    const Reply reply = query();

    ASSERT_EQ(reply.status, 200);
    QStringDecoder decoder(QStringDecoder::Utf8);
    const QString text = decoder(reply.body);
    EXPECT_TRUE(decoder.hasError());
    EXPECT_TRUE(reply.body.contains("\"entityTypeKey\":\"\xC3\x28\xFF"
                                    "BUSINESS_TICKET\""));
}

TEST_F(EmulatorFaults, HostileRepliesHaveTheAskedSizeAndShape)
{
    const struct
    {
        QByteArray fault;
        int status;
        QByteArray title;
        QByteArray body; // checked when not empty
    } rows[] = {
        {R"({"kind":"title","body":"<img src=\"/dev/zero\">"})", 200, R"(<img src="/dev/zero">)", {}},
        {R"({"kind":"title","body":"a\r\nb\u202Ec\u0007"})",
         200,
         "a\r\nb\xE2\x80\xAE"
         "c\x07",
         {}},
        {R"({"kind":"title","body":"A","bytes":1048576})", 200, QByteArray(kMiB, 'A'), {}},
        // Five bytes would split the third "é": the title stops before it.
        {R"({"kind":"title","body":"\u00e9","bytes":5})", 200, "\xC3\xA9\xC3\xA9", {}},
        {R"({"kind":"status","status":500,"body":"x","bytes":10000000})", 500, {}, QByteArray(10000000, 'x')},
        {R"({"kind":"nonjson","body":"<p>","bytes":7})", 200, {}, "<p><p><"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.fault.toStdString());
        emulator.addFault(row.fault);
        const Reply reply = query();
        EXPECT_EQ(reply.status, row.status);
        EXPECT_TRUE(shownTitle(reply) == row.title) << shownTitle(reply).left(80).toStdString();
        EXPECT_TRUE(row.body.isEmpty() || reply.body == row.body) << reply.body.size() << " bytes";
    }

    // Read off the wire: Qt's own client never finishes a reply with more
    // than 100 header fields.
    emulator.addFault(R"({"kind":"headers"})");
    const RawExchange filled = rawQuery();
    EXPECT_EQ(filled.head().count("\r\nX-Filler-"), 100);
    EXPECT_TRUE(filled.head().contains("\r\nX-Filler-100: 100\r\n"));
    EXPECT_EQ(filled.body().size(), filled.contentLength());
    EXPECT_TRUE(QJsonDocument::fromJson(filled.body()).isArray());
}

TEST_F(EmulatorFaults, BoundedStreamsSendExactlyTheirBytesAndStayOpen)
{
    const struct
    {
        QByteArray fault;
        QByteArray request;
        QByteArray head; // up to where the counted bytes start
        qsizetype filler;
    } rows[] = {
        {R"({"kind":"flood","bytes":3145728})", rawQueryRequest(),
         "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: 3145728\r\n\r\n", 3 * kMiB},
        {R"({"kind":"headerline","target":"token","bytes":100000})", kRawTokenRequest,
         "HTTP/1.1 200 OK\r\nX-Endless: ", 100000},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.fault.toStdString());
        emulator.addFault(row.fault);
        const RawExchange exchange = emulator.raw(row.request, 1000);
        EXPECT_TRUE(exchange.bytes.startsWith(row.head)) << exchange.bytes.left(200).toStdString();
        EXPECT_EQ(exchange.bytes.size() - row.head.size(), row.filler);
        EXPECT_EQ(exchange.bytes.indexOf('\n', row.head.size()), -1);
        EXPECT_FALSE(exchange.closedByServer);
        EXPECT_EQ(emulator.server().stats().streams, 0);
    }
}

TEST_F(EmulatorFaults, EndlessStreamsStopWhenTheClientHangsUp)
{
    const struct
    {
        QByteArray fault;
        QByteArray request;
        QByteArray head;
    } rows[] = {
        {R"({"kind":"flood"})", rawQueryRequest(),
         "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nTransfer-Encoding: chunked\r\n\r\n"
         "1\r\n[\r\n10000\r\n0,0,"},
        {R"({"kind":"headerline","target":"token"})", kRawTokenRequest, "HTTP/1.1 200 OK\r\nX-Endless: xxx"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.fault.toStdString());
        emulator.addFault(row.fault);
        const RawExchange exchange = emulator.raw(row.request, 1500, 2 * kMiB);
        EXPECT_GE(exchange.bytes.size(), 2 * kMiB);
        EXPECT_TRUE(exchange.bytes.startsWith(row.head)) << exchange.bytes.left(200).toStdString();
        EXPECT_FALSE(exchange.closedByServer);
        // The emulator has not run since the hang-up, so the stream is still
        // there; it must go as soon as the emulator sees the client gone.
        EXPECT_EQ(emulator.server().stats().streams, 1);
        qint64 streams = 1;
        for (int i = 0; i < 100 && streams != 0; ++i)
            streams = listedStreams();
        EXPECT_EQ(streams, 0);
        EXPECT_EQ(query().status, 200);
    }
}

TEST_F(EmulatorFaults, HostileFaultsAreListedAsQueuedAndCanBeQueuedAgain)
{
    const QList<QPair<QByteArray, QByteArray>> rows{
        {R"({"kind":"title","body":"\u202e","bytes":9})",
         R"({"kind":"title","target":"query","times":1,"body":"\u202e","bytes":9})"},
        {R"({"kind":"flood","target":"token","delayMs":50})",
         R"({"kind":"flood","target":"token","times":1,"delayMs":50})"},
        {R"({"kind":"headers"})", R"({"kind":"headers","target":"query","times":1,"count":100})"},
        {R"({"kind":"headerline","bytes":10,"times":-1})",
         R"({"kind":"headerline","target":"query","times":-1,"bytes":10})"},
        {R"({"kind":"status","status":500,"body":"x","bytes":3})",
         R"({"kind":"status","target":"query","times":1,"status":500,"body":"x","bytes":3})"},
    };
    QJsonArray queued;
    QJsonArray listed;
    for (const auto& [input, output] : rows) {
        queued.append(QJsonDocument::fromJson(input).object());
        listed.append(QJsonDocument::fromJson(output).object());
    }
    auto pending = [this] {
        return emulator.send("GET", QStringLiteral("/_emulator/faults"))
            .json()
            .object()
            .value(QLatin1String("faults"))
            .toArray();
    };

    emulator.addFault(QJsonDocument(queued).toJson());
    EXPECT_EQ(pending(), listed);
    emulator.send("DELETE", QStringLiteral("/_emulator/faults"));
    emulator.addFault(QJsonDocument(listed).toJson());
    EXPECT_EQ(pending(), listed);
}

TEST_F(EmulatorFaults, TokenFaultsAndQueryFaultsKeepToTheirEndpoints)
{
    emulator.addFault(R"([{"kind":"status","status":503,"target":"token"},{"kind":"status","status":500}])");

    const Reply tokenDown = emulator.requestToken(
        "grant_type=client_credentials&client_id=demo-client&client_secret=demo-secret");
    const Reply queryFault = query();

    EXPECT_EQ(tokenDown.status, 503);
    EXPECT_EQ(queryFault.status, 500);
    EXPECT_EQ(query(emulator.token()).status, 200);
}

TEST_F(EmulatorFaults, AfterLetsThatManyRequestsPassBeforeTheFaultApplies)
{
    emulator.addFault(R"({"kind":"status","status":503,"target":"token","after":2,"times":2})");
    const QByteArray form = "grant_type=client_credentials&client_id=demo-client&client_secret=demo-secret";

    QList<int> statuses;
    for (int i = 0; i < 5; ++i)
        statuses.append(emulator.requestToken(form).status);

    EXPECT_EQ(statuses, (QList<int>{200, 200, 503, 503, 200}));
    EXPECT_EQ(emulator.server().faults().size(), 0);
}

TEST_F(EmulatorFaults, AfterCountsOnlyRequestsToItsOwnTarget)
{
    emulator.addFault(R"({"kind":"status","status":500,"after":1})");

    // A token request in between neither counts nor meets the fault.
    EXPECT_EQ(query().status, 200);
    EXPECT_FALSE(emulator.token().isEmpty());
    EXPECT_EQ(query().status, 500);
    EXPECT_EQ(query().status, 200);
}

TEST_F(EmulatorFaults, AFaultStillWaitingHoldsBackTheFaultsQueuedBehindIt)
{
    emulator.addFault(R"([{"kind":"status","status":502,"after":1},{"kind":"status","status":404}])");

    const QJsonArray pending = emulator.send("GET", QStringLiteral("/_emulator/faults"))
                                   .json()
                                   .object()
                                   .value(QLatin1String("faults"))
                                   .toArray();
    ASSERT_EQ(pending.size(), 2);
    EXPECT_EQ(pending.at(0).toObject().value(QLatin1String("after")).toInteger(), 1);
    EXPECT_FALSE(pending.at(1).toObject().contains(QLatin1String("after")));

    EXPECT_EQ(query().status, 200);
    EXPECT_EQ(query().status, 502);
    EXPECT_EQ(query().status, 404);
    EXPECT_EQ(query().status, 200);
}

TEST_F(EmulatorFaults, BadFaultsAreRefusedWith400AndNothingIsQueued)
{
    const char* bad[] = {
        "not json",
        "[]",
        "[1]",
        R"({"status":500})",
        R"({"kind":"meltdown"})",
        R"({"kind":"status"})",
        R"({"kind":"status","status":99})",
        R"({"kind":"status","status":600})",
        R"({"kind":"status","status":500.5})",
        R"({"kind":"status","status":"500"})",
        R"({"kind":"status","status":500,"times":0})",
        R"({"kind":"status","status":500,"times":1e300})",
        R"({"kind":"status","status":500,"retryAfter":"1\r\nX-Evil: 1"})",
        R"({"kind":"status","status":302,"location":"/a\r\nX-Evil: 1"})",
        R"({"kind":"delay","delayMs":1,"location":"/a"})",
        R"({"kind":"status","status":500,"target":"both"})",
        R"({"kind":"status","status":500,"delay":100})",
        R"({"kind":"delay"})",
        R"({"kind":"delay","delayMs":-5})",
        R"({"kind":"close","body":"x"})",
        R"({"kind":"expire","target":"token"})",
        R"({"kind":"large"})",
        R"({"kind":"large","count":0})",
        R"({"kind":"nested","count":3})",
        R"({"kind":"title"})",
        R"({"kind":"title","body":"x","target":"token"})",
        R"({"kind":"title","body":"x","contentType":"text/plain"})",
        R"({"kind":"title","body":"x","bytes":16777217})",
        R"({"kind":"status","status":500,"bytes":10})",
        R"({"kind":"nonjson","body":"","bytes":10})",
        R"({"kind":"status","status":500,"body":"x","bytes":268435457})",
        R"({"kind":"flood","body":"x"})",
        R"({"kind":"flood","bytes":0})",
        R"({"kind":"flood","bytes":4294967297})",
        R"({"kind":"headers","count":100001})",
        R"({"kind":"headers","bytes":10})",
        R"({"kind":"headerline","count":5})",
        // The number checks are shared; only the ranges differ per member.
        R"({"kind":"status","status":500,"after":-1})",
        R"([{"kind":"status","status":500},{"kind":"nope"}])",
    };
    for (const char* json : bad) {
        const Reply reply = emulator.send("POST", QStringLiteral("/_emulator/faults"), json);
        EXPECT_EQ(reply.status, 400) << json;
        EXPECT_FALSE(reply.message().isEmpty()) << json;
    }
    const Reply pending = emulator.send("GET", QStringLiteral("/_emulator/faults"));
    EXPECT_EQ(pending.json().object().value(QLatin1String("faults")).toArray().size(), 0);
    EXPECT_EQ(query(emulator.token()).status, 200);
}

} // namespace
} // namespace QuorvelEmulatorTest
