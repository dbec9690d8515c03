// What the page shows for each way the entity service (or its token
// endpoint) can misbehave, through the whole product: emulator, host,
// plug-in, chat layer, SDK and Qt transport. One row per fault; the rows are
// listed with their outcomes in docs/RELIABILITY.md.
#include "e2e_fixture.h"

#include <ostream>
#include <vector>

namespace QuorvelE2E {
namespace {

// A 50 MB reply is built, sent, read and parsed before the view changes;
// under a sanitizer that takes a while. The host does not settle while the
// page says it is busy, however long a reply takes.
constexpr int kLargeReplyTimeoutMs = 90000;

constexpr int kNestingDepth = 100000;
// How many body bytes the cut rows let through: the start of the shaped
// result, whose members the emulator writes in key order.
constexpr const char* kFirstTenBodyBytes = "[{\"attribu";

struct FaultRow
{
    const char* name = "";
    // Posted to /_emulator/faults before the host starts.
    QByteArray faults;
    // Expected view: the status line and, for a failure, the first field line.
    QString status;
    QString message;
    bool resolved = false;
    // Queries and token requests the emulator saw, sign-in included.
    int queries = 1;
    int tokens = 1;
    // A line the dump must hold, for rows that resolve.
    QString dumpLine;
    int timeoutMs = 15000;
};

void PrintTo(const FaultRow& row, std::ostream* out)
{
    *out << row.name << " " << row.faults.toStdString();
}

QString failed(const char* kind, int httpCode)
{
    return QStringLiteral("Resolve failed \u2014 kind: %1, httpCode: %2")
        .arg(QLatin1String(kind))
        .arg(httpCode);
}

FaultRow resolvedRow(const char* name, QByteArray faults)
{
    FaultRow row;
    row.name = name;
    row.faults = std::move(faults);
    row.status = QStringLiteral("Chat resolved.");
    row.resolved = true;
    return row;
}

FaultRow failedRow(const char* name, QByteArray faults, const char* kind, int httpCode, QString message)
{
    FaultRow row;
    row.name = name;
    row.faults = std::move(faults);
    row.status = failed(kind, httpCode);
    row.message = std::move(message);
    return row;
}

// A status fault with a plain-text body, which the view shows as the message.
QByteArray statusFault(int status, const char* body, const char* extra = "")
{
    return QStringLiteral(R"({"kind":"status","status":%1,"body":"%2"%3})")
        .arg(status)
        .arg(QLatin1String(body), QLatin1String(extra))
        .toUtf8();
}

FaultRow tooManyRequests(const char* name, const char* retryAfterMember)
{
    // POST is never retried, whatever Retry-After says: one query, no wait.
    return failedRow(name, statusFault(429, "slow down", retryAfterMember), "Unknown", 429,
                     QStringLiteral("slow down"));
}

std::vector<FaultRow> faultRows()
{
    std::vector<FaultRow> rows;

    FaultRow expired = resolvedRow("ExpiredTokenIsRenewed", R"({"kind":"expire"})");
    expired.queries = 2;
    expired.tokens = 2;
    rows.push_back(expired);

    FaultRow rejected = resolvedRow("Unauthorized401IsRenewed", statusFault(401, "token rejected"));
    rejected.queries = 2;
    rejected.tokens = 2;
    rows.push_back(rejected);

    FaultRow stillRejected =
        failedRow("Unauthorized401AfterRenewalIsAuth", statusFault(401, "token rejected", R"(,"times":2)"),
                  "Auth", 401, QStringLiteral("token rejected"));
    stillRejected.queries = 2;
    stillRejected.tokens = 2;
    rows.push_back(stillRejected);

    // The token endpoint lets the sign-in through ("after":1) and is down
    // for the renewal.
    FaultRow tokenDown = failedRow(
        "Unauthorized401WithTokenEndpoint503",
        R"([{"kind":"expire"},{"kind":"status","status":503,"target":"token","after":1,"times":-1}])",
        "Network", 0, QStringLiteral("QtTokenFactory: refresh returned empty token."));
    tokenDown.tokens = 2;
    rows.push_back(tokenDown);

    FaultRow tokenDropped =
        failedRow("Unauthorized401WithTokenEndpointDroppingTheConnection",
                  R"([{"kind":"expire"},{"kind":"close","target":"token","bytes":0,"after":1,"times":-1}])",
                  "Network", 0, QStringLiteral("QtTokenFactory: refresh returned empty token."));
    tokenDropped.tokens = 2;
    rows.push_back(tokenDropped);

    // 403 is a retried status, but not for POST.
    rows.push_back(
        failedRow("Forbidden403", statusFault(403, "forbidden"), "Auth", 403, QStringLiteral("forbidden")));
    rows.push_back(failedRow("NotFound404", statusFault(404, "no such thing"), "NotFound", 404,
                             QStringLiteral("no such thing")));
    rows.push_back(failedRow("Conflict409", statusFault(409, "version conflict"), "Conflict", 409,
                             QStringLiteral("version conflict")));
    rows.push_back(failedRow("BadRequest400", statusFault(400, "bad query"), "Validation", 400,
                             QStringLiteral("bad query")));
    rows.push_back(failedRow("Unprocessable422", statusFault(422, "invalid query"), "Validation", 422,
                             QStringLiteral("invalid query")));
    // The service's own error shape reaches the view as the whole body.
    rows.push_back(failedRow("Unprocessable422WithJsonBody", R"({"kind":"status","status":422})",
                             "Validation", 422, QStringLiteral(R"({"message":"Injected fault: HTTP 422"})")));

    rows.push_back(tooManyRequests("TooManyRequests429WithoutRetryAfter", ""));
    rows.push_back(tooManyRequests("TooManyRequests429WithEmptyRetryAfter", R"(,"retryAfter":"")"));
    rows.push_back(tooManyRequests("TooManyRequests429WithRetryAfter0", R"(,"retryAfter":"0")"));
    rows.push_back(tooManyRequests("TooManyRequests429WithRetryAfter5", R"(,"retryAfter":"5")"));
    rows.push_back(tooManyRequests("TooManyRequests429WithRetryAfter60", R"(,"retryAfter":"60")"));
    rows.push_back(tooManyRequests("TooManyRequests429WithRetryAfter61", R"(,"retryAfter":"61")"));
    rows.push_back(tooManyRequests("TooManyRequests429WithNegativeRetryAfter", R"(,"retryAfter":"-1")"));
    rows.push_back(tooManyRequests("TooManyRequests429WithFractionalRetryAfter", R"(,"retryAfter":"1.5")"));
    rows.push_back(tooManyRequests("TooManyRequests429WithDateRetryAfter",
                                   R"(,"retryAfter":"Wed, 21 Oct 2015 07:28:00 GMT")"));
    rows.push_back(tooManyRequests("TooManyRequests429WithTextRetryAfter", R"(,"retryAfter":"soon")"));

    rows.push_back(failedRow("InternalServerError500", statusFault(500, "boom"), "ServerError", 500,
                             QStringLiteral("boom")));
    rows.push_back(failedRow("BadGateway502", statusFault(502, "bad gateway"), "ServerError", 502,
                             QStringLiteral("bad gateway")));
    rows.push_back(failedRow("ServiceUnavailable503WithRetryAfter",
                             statusFault(503, "maintenance", R"(,"retryAfter":"1")"), "ServerError", 503,
                             QStringLiteral("maintenance")));

    rows.push_back(resolvedRow("ReplyDelayedPastTheSettleTimeIsShown", R"({"kind":"delay","delayMs":1500})"));
    rows.push_back(resolvedRow("ReplyStallingMidBodyThenCompletingIsShown",
                               R"({"kind":"stall","delayMs":1500,"bytes":100})"));

    rows.push_back(failedRow("ConnectionClosedMidReply", R"({"kind":"close","bytes":10})", "Unknown", 0,
                             QString::fromLatin1(kFirstTenBodyBytes)));
    rows.push_back(failedRow("TruncatedBody", R"({"kind":"truncate","bytes":10})", "Unknown", 0,
                             QString::fromLatin1(kFirstTenBodyBytes)));

    FaultRow large =
        resolvedRow("FiftyMegabyteReplyYieldsItsFirstEntity", R"({"kind":"large","bytes":52428800})");
    large.timeoutMs = kLargeReplyTimeoutMs;
    rows.push_back(large);

    // The top level is an array, so the parse succeeds; its one element is
    // not an entity object and comes back written as compact JSON, which the
    // view cuts to its first 500 characters.
    FaultRow nested =
        failedRow("DeeplyNestedArrays",
                  QStringLiteral(R"({"kind":"nested","depth":%1})").arg(kNestingDepth).toUtf8(), "Unknown", 0,
                  QString(500, QLatin1Char('['))
                      + QStringLiteral(" \u2026 [%1 more characters]").arg(2 * (kNestingDepth - 1) - 500));
    rows.push_back(nested);

    FaultRow invalid =
        resolvedRow("InvalidUtf8InTextsIsShownWithReplacementCharacters", R"({"kind":"invalidutf8"})");
    // The emulator puts C3 28 FF before the type key: a lead byte without its
    // continuation, then a byte that never occurs in UTF-8.
    invalid.dumpLine = QStringLiteral("entity.entityTypeKey: \uFFFD(\uFFFDBUSINESS_TICKET");
    rows.push_back(invalid);

    return rows;
}

class FaultMatrix : public HostEndToEnd, public ::testing::WithParamInterface<FaultRow>
{
};

TEST_P(FaultMatrix, ViewAndRequestCountsMatchTheRow)
{
    const FaultRow& row = GetParam();
    if (!row.faults.isEmpty())
        fault(row.faults);

    HostOptions options;
    options.timeoutMs = row.timeoutMs;
    const HostRun run = runHost(options);

    if (row.resolved) {
        expectDemoChatResolved(run);
        if (!row.dumpLine.isEmpty()) {
            EXPECT_TRUE(run.lastView().contains(row.dumpLine)) << run.output.left(4000).toStdString();
        }
    } else {
        expectFailure(run, row.status, row.message);
    }
    EXPECT_EQ(queries(), row.queries);
    EXPECT_EQ(tokens(), row.tokens);
}

INSTANTIATE_TEST_SUITE_P(Faults, FaultMatrix, ::testing::ValuesIn(faultRows()),
                         [](const ::testing::TestParamInfo<FaultRow>& info) {
                             return std::string(info.param.name);
                         });

} // namespace
} // namespace QuorvelE2E
