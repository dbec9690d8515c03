// What the page shows for each way the entity service (or its token
// endpoint) can misbehave, through the whole product: emulator, host,
// plug-in, chat layer, SDK and Qt transport. One row per fault; the rows are
// listed with their outcomes in docs/RELIABILITY.md.
#include "e2e_fixture.h"

#include <ostream>

namespace QuorvelE2E {
namespace {

constexpr int kDepth = 100000;
const QString kEmptyToken = QStringLiteral("QtTokenFactory: refresh returned empty token.");
// What the cut rows let through: the start of the shaped result.
const QString kTenBytes = QStringLiteral("[{\"attribu");

struct FaultRow
{
    const char* name;
    // Posted to /_emulator/faults before the host starts; may be empty.
    QByteArray faults;
    // Expected view: resolved when `kind` is null, else the status line's
    // kind and code and the message line.
    const char* kind = nullptr;
    int httpCode = 0;
    QString message = {};
    // Queries and token requests the emulator saw, sign-in included.
    int queries = 1;
    int tokens = 1;
    const char* business = "demo";
    // A 50 MB reply is built, read and parsed before the view changes;
    // under a sanitizer that takes a while.
    int timeoutMs = 15000;
    // A line the dump must hold, for rows that resolve.
    QString dumpLine = {};
};

void PrintTo(const FaultRow& row, std::ostream* out)
{
    *out << row.name << " " << row.faults.toStdString();
}

const FaultRow kRows[] = {
    {"ResolvesTheDutyChannel", {}},
    // A 401 renews the token once and re-sends, even a POST.
    {"ExpiredTokenIsRenewedAndTheQueryResent", R"({"kind":"expire"})", nullptr, 0, {}, 2, 2},
    {"Unauthorized401AfterRenewalIsAuth",
     R"({"kind":"status","status":401,"body":"token rejected","times":2})", "Auth", 401, "token rejected", 2,
     2},
    // The token endpoint lets the sign-in through ("after":1), not the renewal.
    {"Unauthorized401WithTokenEndpoint503",
     R"([{"kind":"expire"},{"kind":"status","status":503,"target":"token","after":1,"times":-1}])", "Network",
     0, kEmptyToken, 1, 2},
    {"Unauthorized401WithTokenEndpointDroppingTheConnection",
     R"([{"kind":"expire"},{"kind":"close","target":"token","bytes":0,"after":1,"times":-1}])", "Network", 0,
     kEmptyToken, 1, 2},
    // POST is never retried, whatever the status or Retry-After says.
    {"Forbidden403", R"({"kind":"status","status":403,"body":"forbidden"})", "Auth", 403, "forbidden"},
    {"NotFound404", R"({"kind":"status","status":404,"body":"no such thing"})", "NotFound", 404,
     "no such thing"},
    {"BadRequest400", R"({"kind":"status","status":400,"body":"bad query"})", "Validation", 400, "bad query"},
    // The service's own error shape reaches the view as the whole body.
    {"Unprocessable422WithJsonBody", R"({"kind":"status","status":422})", "Validation", 422,
     R"({"message":"Injected fault: HTTP 422"})"},
    {"TooManyRequests429WithRetryAfter5",
     R"({"kind":"status","status":429,"body":"slow down","retryAfter":"5"})", "Unknown", 429, "slow down"},
    {"InternalServerError500", R"({"kind":"status","status":500,"body":"boom"})", "ServerError", 500, "boom"},
    {"ServiceUnavailableIsServerErrorSentOnce",
     R"({"kind":"status","status":503,"body":"maintenance","retryAfter":"1","times":-1})", "ServerError", 503,
     "maintenance"},
    // Nothing times out a reply, and the host never settles while the page is busy.
    {"ReplyDelayedPastTheSettleTimeIsShown", R"({"kind":"delay","delayMs":1500})"},
    {"ReplyStallingMidBodyThenCompletingIsShown", R"({"kind":"stall","delayMs":1500,"bytes":100})"},
    {"ConnectionClosedMidReply", R"({"kind":"close","bytes":10})", "Unknown", 0, kTenBytes},
    {"TruncatedBody", R"({"kind":"truncate","bytes":10})", "Unknown", 0, kTenBytes},
    {"NonJsonReplyIsUnknown", R"({"kind":"nonjson","body":"<html><p>down</p></html>"})", "Unknown", 0,
     "<html><p>down</p></html>"},
    // Far past the 2 MiB the plug-in takes by default.
    {"FiftyMegabyteReplyIsRefused", R"({"kind":"large","bytes":52428800})", "Network", 299,
     QStringLiteral("The service's reply was larger than the limit.")},
    // The top level is an array, so the parse succeeds; its one element is
    // not an entity and comes back as compact JSON, cut to 500 characters.
    {"DeeplyNestedArrays", QStringLiteral(R"({"kind":"nested","depth":%1})").arg(kDepth).toUtf8(), "Unknown",
     0, QString(500, u'[') + QStringLiteral(" \u2026 [%1 more characters]").arg(2 * (kDepth - 1) - 500)},
    // C3 28 FF before the type key: a lead byte without its continuation,
    // then a byte that never occurs in UTF-8.
    {"InvalidUtf8InTextsIsShownWithReplacementCharacters",
     R"({"kind":"invalidutf8"})",
     nullptr,
     0,
     {},
     1,
     1,
     "demo",
     15000,
     QStringLiteral("entity.entityTypeKey: \uFFFD(\uFFFDBUSINESS_TICKET")},
    {"NoDutyChannelIsNotFound",
     {},
     "NotFound",
     -1,
     "No default duty channel (IS_DEFAULT_CHANNEL=TRUE) found for current principal",
     1,
     1,
     "empty"},
};

class FaultMatrix : public HostEndToEnd, public ::testing::WithParamInterface<FaultRow>
{
};

TEST_P(FaultMatrix, ViewAndRequestCountsMatchTheRow)
{
    const FaultRow& row = GetParam();
    if (!row.faults.isEmpty())
        fault(row.faults);
    HostOptions options;
    options.businessId = QLatin1String(row.business);
    options.timeoutMs = row.timeoutMs;
    const HostRun run = runHost(options);

    if (row.kind == nullptr)
        expectDemoChatResolved(run);
    else
        expectFailure(run, failed(row.kind, row.httpCode), row.message);
    EXPECT_TRUE(row.dumpLine.isEmpty() || run.lastView().contains(row.dumpLine))
        << run.output.left(4000).toStdString();
    EXPECT_EQ(stat("queries"), row.queries);
    EXPECT_EQ(stat("tokens"), row.tokens);
}

INSTANTIATE_TEST_SUITE_P(Faults, FaultMatrix, ::testing::ValuesIn(kRows),
                         [](const auto& info) { return std::string(info.param.name); });

} // namespace
} // namespace QuorvelE2E
