// What the fault language refuses, and who may speak it. What the kinds do
// to a reply is seen end to end, through the product, by the fault matrix
// and the hostile-service table in tests/e2e, and the quit test's rows.
#include "EmulatorHarness.h"

#include <gtest/gtest.h>

namespace QuorvelEmulatorTest {
namespace {

class EmulatorFaults : public ::testing::Test
{
protected:
    int query() { return emulator.query(bearer).status; }

    EmulatorHarness emulator;
    const QByteArray bearer = "Bearer " + emulator.token();
};

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
