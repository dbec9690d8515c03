// The whole product against a hostile or broken service: markup, control
// characters, huge texts, endless and stalled replies. Whatever comes, the
// host must not crash, must end in bounded time (it settles before its own
// deadline) with bounded memory, and must show a sane view. The rows and
// their figures are listed in docs/RELIABILITY.md.
#include "e2e_fixture.h"

#include <algorithm>
#include <ostream>

#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

namespace QuorvelE2E {
namespace {

using namespace Qt::StringLiterals;

// The host alone takes about 100 MB offscreen; the largest row adds one
// reply of at most the 64 MiB cap, read once. The address sanitizer's
// shadow memory and quarantine come on top of that.
#if defined(__SANITIZE_ADDRESS__)
constexpr qint64 kMaxPeakMemoryKb = 1024 * 1024;
#else
constexpr qint64 kMaxPeakMemoryKb = 256 * 1024;
#endif

struct HostileRow
{
    const char* name;
    // Posted to /_emulator/faults before the host starts.
    QByteArray faults;
    // Expected status line and one more line of the view.
    QString status;
    Line line = Id;
    QString text;
    QStringList arguments = {};
};

void PrintTo(const HostileRow& row, std::ostream* out)
{
    *out << row.name;
}

QString failed(const char* kind, int httpCode)
{
    return u"Resolve failed \u2014 kind: %1, httpCode: %2"_s.arg(QLatin1String(kind)).arg(httpCode);
}

QByteArray titleFault(const QString& title)
{
    QJsonObject fault{{u"kind"_s, u"title"_s}, {u"body"_s, title}};
    return QJsonDocument(fault).toJson(QJsonDocument::Compact);
}

const QString kResolved = u"Chat resolved."_s;
const QString kNotSignedIn = u"Not signed in \u2014 SdkAdapter not attached. Click refresh after sign-in."_s;
// Stalls are ended by the inactivity limit, shortened here from its
// one-minute default so that the rows stay quick.
const QStringList kQuickInactivity = {u"--inactivity-timeout-ms"_s, u"1000"_s};

std::vector<HostileRow> hostileRows()
{
    return {
        {"MarkupInTitleIsShownAsWritten", titleFault(u"<img src=\"/dev/zero\"><b>x</b>"_s), kResolved,
         ChatTitle, u"Chat.title: <img src=\"/dev/zero\"><b>x</b>"_s},
        {"MarkupInErrorBodyIsShownAsWritten",
         R"({"kind":"status","status":500,"body":"<h1>Chat resolved.</h1>"})", failed("ServerError", 500), Id,
         u"<h1>Chat resolved.</h1>"_s},
        {"LineBreakInTitleForgesNoLine", titleFault(u"Support\r\nChat.version: 999"_s), kResolved, ChatTitle,
         u"Chat.title: Support\\r\\nChat.version: 999"_s},
        {"TerminalEscapesInTitleNeverReachTheTerminal", titleFault(u"\x1b]0;pwned\x07\x1b[2J"_s), kResolved,
         ChatTitle, u"Chat.title: \\x1B]0;pwned\\x07\\x1B[2J"_s},
        {"RightToLeftOverrideIsShownNotObeyed", titleFault(u"invoice\u202Egnp.exe"_s), kResolved, ChatTitle,
         u"Chat.title: invoice\\u202Egnp.exe"_s},
        {"MegabyteTitleIsCut", R"({"kind":"title","body":"A","bytes":1048576})", kResolved, ChatTitle,
         u"Chat.title: "_s + QString(500, u'A') + u" \u2026 [1048076 more characters]"_s},
        {"TenMegabyteErrorBodyIsCut", R"({"kind":"status","status":500,"body":"x","bytes":10000000})",
         failed("ServerError", 500), Id, QString(500, u'x') + u" \u2026 [9999500 more characters]"_s},
        {"EndlessChunkedReplyIsCutAtTheCap", R"({"kind":"flood"})", failed("Network", 299), Id, {}},
        {"EndlessSignInReplyIsRefused", R"({"kind":"flood","target":"token"})", kNotSignedIn, Id, {}},
        {"HugeAnnouncedBodyIsRefused",
         R"({"kind":"flood","bytes":200000000})",
         failed("Network", 299),
         Id,
         {}},
        {"SilentServerEndsAtTheInactivityLimit",
         R"({"kind":"delay","delayMs":600000})",
         failed("Network", 4),
         Id,
         {},
         kQuickInactivity},
        {"UnendedHeaderLineEnds",
         R"({"kind":"headerline","bytes":1000000})",
         failed("Network", 4),
         Id,
         {},
         kQuickInactivity},
        {"HundredHeadersEnd",
         R"({"kind":"headers","count":100})",
         failed("Network", 4),
         Id,
         {},
         kQuickInactivity},
    };
}

class HostileService : public HostEndToEnd, public ::testing::WithParamInterface<HostileRow>
{
};

// What the host reports with --print-peak-memory; -1 when it did not.
qint64 peakMemoryKb(const HostRun& run)
{
    const QRegularExpressionMatch match =
        QRegularExpression(u"vyx-host: peak memory (\\d+) kB"_s).match(run.errors);
    return match.hasMatch() ? match.captured(1).toLongLong() : -1;
}

TEST_P(HostileService, HostEndsInTimeWithBoundedMemoryAndASaneView)
{
    const HostileRow& row = GetParam();
    fault(row.faults);

    HostOptions options;
    options.arguments = row.arguments + QStringList{u"--print-peak-memory"_s};
    const HostRun run = runHost(options);

    // The view settled before the host's deadline, without a crash; the
    // code says whether it shows a success or a failure.
    const int expectedExit = row.status == u"Chat resolved."_s           ? kSettled
                             : row.status.startsWith(u"Not signed in"_s) ? kSignInFailed
                                                                         : kPageFailed;
    ASSERT_EQ(run.exitCode, expectedExit) << run.errors.left(2000).toStdString();
    const QStringList view = run.lastView();
    ASSERT_GT(view.size(), Dump) << run.output.left(2000).toStdString();
    EXPECT_EQ(view[Status], row.status) << run.errors.left(2000).toStdString();
    EXPECT_EQ(view[row.line], row.text) << view[row.line].left(300).toStdString();
    // Nothing but the view's own line breaks reaches the terminal.
    const auto raw = std::ranges::find_if(
        run.output, [](QChar c) { return (c.unicode() < 0x20 && c != u'\n') || c.unicode() == 0x7F; });
    EXPECT_EQ(raw, run.output.cend()) << "raw control character in the printed view";
    // The version line is the view's own or absent: no text forges one.
    EXPECT_LE(view.filter(QRegularExpression(u"^Chat\\.version: "_s)).size(), 1);
    const qint64 peakKb = peakMemoryKb(run);
    EXPECT_GT(peakKb, 0) << run.errors.left(2000).toStdString();
    EXPECT_LT(peakKb, kMaxPeakMemoryKb);
    RecordProperty("peakMemoryKb", std::to_string(peakKb));
}

INSTANTIATE_TEST_SUITE_P(Rows, HostileService, ::testing::ValuesIn(hostileRows()),
                         [](const auto& info) { return std::string(info.param.name); });

} // namespace
} // namespace QuorvelE2E
