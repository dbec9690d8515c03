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

// An emulator with one token issued before any fault is queued.
class EmulatorFaults : public ::testing::Test
{
protected:
    Reply query(const QByteArray& bearer) { return emulator.query(kDemo, kDutyChannelQuery, bearer); }
    Reply query() { return query(token); }
    QNetworkReply* startQuery() { return emulator.startQuery(kDemo, kDutyChannelQuery, token); }
    RawExchange rawQuery()
    {
        return emulator.raw(emulator.rawQueryRequest(kDemo, kDutyChannelQuery, token));
    }

    EmulatorHarness emulator;
    const QByteArray token = emulator.token();
};

TEST_F(EmulatorFaults, StatusFaultsAnswerTheNextQueriesInQueueOrder)
{
    emulator.addFault(R"([{"kind":"status","status":429,"retryAfter":"7","body":"slow down"},)"
                      R"( {"kind":"status","status":503,"retryAfter":"Wed, 21 Oct 2015 07:28:00 GMT"}])");

    const Reply first = query();
    const Reply second = query();
    const Reply third = query();

    EXPECT_EQ(first.status, 429);
    EXPECT_EQ(first.header("Retry-After"), "7");
    EXPECT_EQ(first.body, "slow down");
    EXPECT_EQ(first.header("Content-Type"), "text/plain; charset=utf-8");
    EXPECT_EQ(second.status, 503);
    EXPECT_EQ(second.header("Retry-After"), "Wed, 21 Oct 2015 07:28:00 GMT");
    EXPECT_EQ(second.message(), QStringLiteral("Injected fault: HTTP 503"));
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
    emulator.addFault(R"([{"kind":"nonjson"},{"kind":"nonjson","status":502,"body":"<h1>Bad gateway</h1>"}])");

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
    EXPECT_TRUE(reply.body.contains("\"entityTypeKey\":\"\xC3\x28\xFF" "BUSINESS_TICKET\""));
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
    const QByteArray form =
        "grant_type=client_credentials&client_id=demo-client&client_secret=demo-secret";

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
                                   .json().object().value(QLatin1String("faults")).toArray();
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
        R"({"kind":"status","status":500,"target":"both"})",
        R"({"kind":"status","status":500,"delay":100})",
        R"({"kind":"delay"})",
        R"({"kind":"delay","delayMs":-5})",
        R"({"kind":"close","body":"x"})",
        R"({"kind":"expire","target":"token"})",
        R"({"kind":"large"})",
        R"({"kind":"large","count":0})",
        R"({"kind":"nested","count":3})",
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
