// The whole product against a hostile or broken service: markup, control
// characters, huge texts, endless and stalled replies. Whatever comes, the
// host must not crash, must settle before its own deadline with bounded
// memory, and must show a sane view. The rows and their figures are listed
// in docs/RELIABILITY.md.
#include "e2e_fixture.h"

#include <algorithm>

#include <QJsonDocument>
#include <QRegularExpression>

namespace QuorvelE2E {
namespace {

using namespace Qt::StringLiterals;

// The bound the plug-in's default reply cap keeps the whole host under,
// whatever the reply's shape. The address sanitizer's shadow memory and
// quarantine come on top of that.
#if defined(__SANITIZE_ADDRESS__)
constexpr qint64 kMaxPeakMemoryKb = 2048 * 1024;
#else
constexpr qint64 kMaxPeakMemoryKb = 512 * 1024;
#endif

struct HostileRow
{
    const char* name;
    QByteArray faults;
    // Expected status line and one more line of the view.
    QString status;
    PageLine line;
    QString text;
    // Host options: stalls are ended by an inactivity limit shortened from
    // its one-minute default to the least a host can set (1 ms), so that the
    // rows stay quick, and a row that
    // shows how a huge text is cut lifts the reply cap.
    QStringList arguments = {};
};

const QString kTooLarge = u"The service's reply was larger than the limit."_s;
const QStringList kQuickInactivity{u"--inactivity-timeout-ms"_s, u"1"_s};
const QStringList kLargeReplies{u"--max-reply-bytes"_s, u"67108864"_s};
const QString kStalled = u"Nothing came from the service for too long."_s;

QByteArray titleFault(const QString& title)
{
    return QJsonDocument(QJsonObject{{u"kind"_s, u"title"_s}, {u"body"_s, title}})
        .toJson(QJsonDocument::Compact);
}

const HostileRow kRows[] = {
    {"MarkupAndBidiControlsInTitleAreShownAsWritten",
     titleFault(u"<img src=\"/dev/zero\"><b>x</b> invoice\u202Egnp.exe"_s), kResolved, ChatTitle,
     u"Chat.title: <img src=\"/dev/zero\"><b>x</b> invoice\u27E8U+202E\u27E9gnp.exe"_s},
    {"LineBreaksAndTerminalEscapesInTitleForgeNothing",
     titleFault(u"Support\r\nChat.version: 999\x1b]0;pwned\x07\x1b[2J"_s), kResolved, ChatTitle,
     u"Chat.title: Support\u240D\u240AChat.version: 999\u241B]0;pwned\u2407\u241B[2J"_s},
    {"MegabyteTitleIsCut", R"({"kind":"title","body":"A","bytes":1048576})", kResolved, ChatTitle,
     u"Chat.title: "_s + QString(500, u'A') + u" \u2026 [1048076 more characters]"_s, kLargeReplies},
    {"EndlessChunkedReplyIsCutAtTheCap", R"({"kind":"flood"})", failed("Network", 299), Id, kTooLarge},
    {"EndlessSignInReplyIsRefused", R"({"kind":"flood","target":"token"})", kNotSignedIn, Id, {}},
    {"HugeAnnouncedBodyIsRefused", R"({"kind":"flood","bytes":200000000})", failed("Network", 299), Id,
     kTooLarge},
    {"SilentServerEndsAtTheInactivityLimit", R"({"kind":"delay","delayMs":600000})", failed("Network", 4), Id,
     kStalled, kQuickInactivity},
    {"UnendedHeaderLineEnds", R"({"kind":"headerline","bytes":1000000})", failed("Network", 4), Id, kStalled,
     kQuickInactivity},
    {"TricklingReplyEndsAtTheDeadline",
     R"({"kind":"trickle","delayMs":100})",
     failed("Network", 1001),
     Id,
     u"The service did not finish its reply in time."_s,
     {u"--exchange-deadline-ms"_s, u"1500"_s}},
    // Only the first entity is kept; the rest are read and checked.
    {"MillionEmptyEntitiesCostOneAtATime", R"({"kind":"elements","body":"{}","bytes":4000000})", kResolved,
     Id, u"Chat.id: 00000000-0000-0000-0000-000000000000"_s, kLargeReplies},
    // The costliest shape for its size, just under the default cap.
    {"AttributeValuesUpToTheCapStayUnderTheBound", R"({"kind":"attributes","body":"{}","bytes":2097000})",
     kResolved, Id, u"Chat.id: 5885e99b-527d-4893-af14-46c61299024e"_s},
    {"ReplyOverTheDefaultCapIsRefused", R"({"kind":"elements","body":"{}","bytes":2097200})",
     failed("Network", 299), Id, kTooLarge},
};

class HostileService : public HostEndToEnd, public ::testing::WithParamInterface<HostileRow>
{
};

TEST_P(HostileService, HostEndsInTimeWithBoundedMemoryAndASaneView)
{
    const HostileRow& row = GetParam();
    fault(row.faults);
    HostOptions options;
    options.arguments = {u"--print-peak-memory"_s};
    options.arguments += row.arguments;
    const HostRun run = runHost(options);

    // Settled before the host's deadline, without a crash; the code says
    // whether the view shows a success or a failure.
    const int expectedExit = row.status == kResolved      ? kSettled
                             : row.status == kNotSignedIn ? kSignInFailed
                                                          : kPageFailed;
    ASSERT_EQ(run.exitCode, expectedExit) << run.errors.left(2000).toStdString();
    const QStringList view = run.lastView();
    ASSERT_GT(view.size(), Dump) << run.output.left(2000).toStdString();
    EXPECT_EQ(view[Status], row.status) << run.errors.left(2000).toStdString();
    EXPECT_EQ(view[row.line], row.text) << view[row.line].left(300).toStdString();
    // Nothing but the view's own line breaks reaches the terminal.
    EXPECT_TRUE(std::ranges::none_of(run.output, [](QChar c) {
        return (c < u' ' && c != u'\n') || c == u'\x7f';
    })) << "raw control character in the printed view";
    // The version line is the view's own or absent: no text forges one.
    EXPECT_LE(view.filter(QRegularExpression(u"^Chat\\.version: "_s)).size(), 1);
    const QRegularExpressionMatch peak =
        QRegularExpression(u"vyx-host: peak memory (\\d+) kB"_s).match(run.errors);
    ASSERT_TRUE(peak.hasMatch()) << run.errors.left(2000).toStdString();
    EXPECT_LT(peak.captured(1).toLongLong(), kMaxPeakMemoryKb);
    RecordProperty("peakMemoryKb", peak.captured(1).toStdString());
}

INSTANTIATE_TEST_SUITE_P(Rows, HostileService, ::testing::ValuesIn(kRows),
                         [](const auto& info) { return std::string(info.param.name); });

} // namespace
} // namespace QuorvelE2E
