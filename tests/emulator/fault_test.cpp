// The fault language's queue: which request meets which fault. What each
// kind does to a reply is seen end to end, through the product, by the
// fault matrix and the hostile-service table in tests/e2e.
#include "EmulatorHarness.h"

#include <gtest/gtest.h>

namespace QuorvelEmulatorTest {
namespace {

class EmulatorFaults : public ::testing::Test
{
protected:
    int query() { return emulator.query(bearer).status; }
    int token() { return emulator.requestToken(kDemoForm).status; }

    EmulatorHarness emulator;
    const QByteArray bearer = "Bearer " + emulator.token();
};

TEST_F(EmulatorFaults, StatusFaultsAnswerTheNextQueriesInQueueOrder)
{
    emulator.addFault(R"([{"kind":"status","status":429,"retryAfter":"7","body":"slow down"},)"
                      R"( {"kind":"status","status":503},)"
                      R"( {"kind":"status","status":307,"location":"http://127.0.0.2:9/x"}])");

    const Reply first = emulator.query(bearer);
    const Reply second = emulator.query(bearer);
    const Reply redirect = emulator.query(bearer);

    EXPECT_EQ(first.status, 429);
    EXPECT_EQ(first.header("Retry-After"), "7");
    EXPECT_EQ(first.body, "slow down");
    EXPECT_EQ(first.header("Content-Type"), "text/plain; charset=utf-8");
    EXPECT_EQ(second.status, 503);
    EXPECT_EQ(second.message(), "Injected fault: HTTP 503");
    EXPECT_EQ(redirect.status, 307);
    EXPECT_EQ(redirect.header("Location"), "http://127.0.0.2:9/x");
    EXPECT_EQ(query(), 200);
}

TEST_F(EmulatorFaults, AfterAndTimesCountOnlyRequestsToTheFaultsOwnTarget)
{
    // A fault still waiting holds back the faults queued behind it.
    emulator.addFault(R"([{"kind":"status","status":503,"target":"token","after":2,"times":2},)"
                      R"( {"kind":"status","status":502,"after":1},{"kind":"status","status":404}])");
    EXPECT_EQ((QList<int>{token(), query(), token(), token(), query(), query(), token(), token(), query()}),
              (QList<int>{200, 200, 200, 503, 502, 404, 503, 200, 200}));
    EXPECT_EQ(emulator.server().faults().size(), 0);

    emulator.addFault(R"({"kind":"status","status":599,"times":-1})");
    EXPECT_EQ((QList<int>{query(), query(), query()}), (QList<int>{599, 599, 599}));
    const Reply cleared = emulator.send("DELETE", QStringLiteral("/_emulator/faults"));
    EXPECT_EQ(cleared.json().object().value("cleared").toInteger(), 1);
    EXPECT_EQ(query(), 200);
}

TEST_F(EmulatorFaults, ExpireFaultEndsTheCallersTokenAtTheRequestItMeets)
{
    const QByteArray bystander = "Bearer " + emulator.token();
    emulator.addFault(R"({"kind":"expire","after":1})");

    EXPECT_EQ(query(), 200);
    const Reply refused = emulator.query(bearer);
    EXPECT_EQ(refused.status, 401);
    EXPECT_EQ(refused.message(), "Access token expired");
    EXPECT_EQ(query(), 401);
    EXPECT_EQ(emulator.query(bystander).status, 200);
}

TEST_F(EmulatorFaults, BadFaultsAreRefusedWith400AndNothingIsQueued)
{
    const char* bad[] = {
        "not json",
        R"({"kind":"meltdown"})",
        R"({"kind":"status","status":500,"times":0})",
        R"({"kind":"status","status":500,"delay":100})", // misspelt member
        R"({"kind":"status","status":500,"retryAfter":"1\r\nX-Evil: 1"})",
        R"({"kind":"status","status":302,"location":"/a\r\nX-Evil: 1"})",
        R"({"kind":"delay","delayMs":1,"location":"/a"})",
        R"({"kind":"expire","target":"token"})",
        R"([{"kind":"status","status":500},{"kind":"nope"}])",
    };
    for (const char* json : bad) {
        const Reply reply = emulator.send("POST", QStringLiteral("/_emulator/faults"), json);
        EXPECT_EQ(reply.status, 400) << json;
        EXPECT_FALSE(reply.message().isEmpty()) << json;
    }
    EXPECT_EQ(emulator.server().faults().size(), 0);
    EXPECT_EQ(query(), 200);
}

// A web page in a browser on this machine can reach 127.0.0.1 too, under its
// own host name and without the run's key: the admin endpoints answer only
// a loopback host with the key.
TEST_F(EmulatorFaults, AdminEndpointsAnswerOnlyALoopbackHostWithTheKey)
{
    const QByteArray port = QByteArray::number(emulator.server().port());
    const struct
    {
        QByteArray host;
        QByteArray key;
        int status;
    } rows[] = {
        {"127.0.0.1:" + port, kAdminKey, 200},        {"localhost:" + port, kAdminKey, 200},
        {"127.0.0.1:" + port, "wrong", 403},          {"127.0.0.1:" + port, kAdminKey + "x", 403},
        {"attacker.example:" + port, kAdminKey, 403}, {"127.0.0.1.attacker.example", kAdminKey, 403},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.host.toStdString() + " " + row.key.toStdString());
        const Reply reply = emulator.send("GET", QStringLiteral("/_emulator/stats"), {},
                                          {{"Host", row.host}, {"X-Emulator-Admin-Key", row.key}});
        EXPECT_EQ(reply.status, row.status);
    }
}

} // namespace
} // namespace QuorvelEmulatorTest
