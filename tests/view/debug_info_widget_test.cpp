// The diagnostic view against a back end whose futures the test completes by
// hand, so that every state and every ordering is reached deterministically.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QFutureWatcher>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPromise>
#include <QVBoxLayout>

#include <Vyx/PageState.h>

#include "chat/ChatService.h"
#include "support/ViewLines.h"
#include "view/DebugInfoWidget.h"
#include "view/FieldLabel.h"

namespace QuorvelChat {
namespace {

using namespace Qt::StringLiterals;

// Hands out futures whose results the test sets.
class ManualBackend : public IChatBackend
{
public:
    std::vector<std::shared_ptr<QPromise<Result<Chat>>>> pending;

    QFuture<Result<Chat>> resolveChat() override
    {
        auto promise = std::make_shared<QPromise<Result<Chat>>>();
        promise->start();
        pending.push_back(promise);
        return promise->future();
    }
    QFuture<Result<MessagesPage>> listMessages(const ListMessagesRequest&) override { return {}; }
    QFuture<Result<Message>> postMessage(const MessageDraftRequest&) override { return {}; }
    QFuture<Result<Message>> patchMessage(const Message&) override { return {}; }
    QFuture<Result<Unit>> deleteMessage(const QUuid&) override { return {}; }
    QFuture<Result<Attachment>> uploadAttachment(const AttachmentUploadRequest&) override { return {}; }
    QFuture<Result<Attachment>> downloadAttachment(const AttachmentDownloadRequest&) override { return {}; }
    QFuture<Result<Draft>> saveDraft(const DraftSaveRequest&) override { return {}; }

    void finish(std::size_t i, const Result<Chat>& result)
    {
        pending.at(i)->addResult(result);
        pending.at(i)->finish();
    }
};

// The texts of the view, as a person reads them top to bottom.
QStringList texts(const DebugInfoWidget& view)
{
    QStringList out;
    for (QObject* child : view.children()) {
        if (auto* label = qobject_cast<QLabel*>(child))
            out << label->text();
        else if (auto* dump = qobject_cast<QPlainTextEdit*>(child))
            out << dump->toPlainText();
    }
    return out;
}

// Lets queued future notifications reach the watcher.
void deliver()
{
    for (int i = 0; i < 5; ++i)
        QCoreApplication::processEvents();
}

class DebugInfoView : public ::testing::Test
{
protected:
    DebugInfoView()
    {
        auto owned = std::make_unique<ManualBackend>();
        backend = owned.get();
        adapter = std::make_unique<SdkAdapter>(std::move(owned));
    }

    void attach() { service.setAdapter(std::move(adapter)); }

    using enum QuorvelTest::Line;

    ChatService service;
    ManualBackend* backend = nullptr;
    std::unique_ptr<SdkAdapter> adapter;
};

TEST_F(DebugInfoView, LaysOutItsWidgetsAsDesigned)
{
    DebugInfoWidget view(&service);
    EXPECT_STREQ(view.metaObject()->className(), "QuorvelChat::DebugInfoWidget");
    const QStringList t = texts(view);
    ASSERT_EQ(t.size(), 11);
    EXPECT_EQ(t[Title], "Quorvel chat plugin");
    EXPECT_EQ(t[Caption], "Raw EntityDto dump:");
    auto* layout = qobject_cast<QVBoxLayout*>(view.layout());
    ASSERT_NE(layout, nullptr);
    EXPECT_EQ(layout->contentsMargins(), QMargins(24, 24, 24, 24));
    EXPECT_EQ(layout->spacing(), 6);
    auto* dump = view.findChild<QPlainTextEdit*>();
    ASSERT_NE(dump, nullptr);
    EXPECT_TRUE(dump->isReadOnly());
    EXPECT_EQ(dump->minimumHeight(), 180);
    EXPECT_EQ(dump->font().family(), "Consolas");
    EXPECT_EQ(dump->font().styleHint(), QFont::Monospace);
    EXPECT_EQ(layout->stretch(layout->indexOf(dump)), 1);
    const auto labels = view.findChildren<QLabel*>();
    EXPECT_EQ(labels[0]->font().weight(), QFont::Bold);
    EXPECT_EQ(labels[0]->font().pointSize(), QLabel().font().pointSize() + 4);
    EXPECT_TRUE(labels[2]->wordWrap());
    EXPECT_EQ(labels[Caption]->styleSheet(), "color: gray; margin-top: 8px;");
    for (int field = Id; field <= StateKey; ++field)
        EXPECT_EQ(labels[field]->textInteractionFlags(),
                  Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard)
            << field;
    // It waits for the first refresh.
    EXPECT_TRUE(t[Status].isEmpty());
}

TEST_F(DebugInfoView, WithoutServiceSaysSoOnEveryRefresh)
{
    DebugInfoWidget view(nullptr);
    view.refresh();
    const QStringList t = texts(view);
    EXPECT_EQ(t[Status], "No ChatService \u2014 plugin not initialized?");
    EXPECT_TRUE(t[Build].startsWith("Skeleton build, compiled ")) << t[Build].toStdString();
    EXPECT_TRUE(t[Build].contains(". Last refresh: "));
}

TEST_F(DebugInfoView, ShowsAResolvedChatFieldByField)
{
    DebugInfoWidget view(&service);
    attach(); // adapterChanged() refreshes the view
    ASSERT_EQ(backend->pending.size(), 1u);
    EXPECT_EQ(texts(view)[Status], "Resolving duty channel\u2026");
    // The host must not take the page as settled while it waits.
    EXPECT_TRUE(view.property(Vyx::PageState::kBusy).toBool());

    Chat chat;
    chat.id = QUuid::fromString(QStringLiteral("6f1c2a90-3b4d-4e5f-8a7b-112233445566"));
    chat.kind = ChatKind::BusinessTicket;
    chat.title = "Support";
    chat.isDefaultChannel = true;
    chat.version = -7;
    chat.stateKey = "OPEN";
    chat.rawDump = "entity.id: 6f1c2a90-3b4d-4e5f-8a7b-112233445566\n";
    backend->finish(0, chat);
    deliver();

    const QStringList t = texts(view);
    EXPECT_EQ(t[Status], "Chat resolved.");
    EXPECT_EQ(t[Id], "Chat.id: 6f1c2a90-3b4d-4e5f-8a7b-112233445566");
    EXPECT_EQ(t[Kind], "Chat.kind: BusinessTicket");
    EXPECT_EQ(t[ChatTitle], "Chat.title: Support");
    EXPECT_EQ(t[DefaultFlag], "Chat.isDefaultChannel: true");
    EXPECT_EQ(t[Version], "Chat.version: -7");
    EXPECT_EQ(t[StateKey], "Chat.stateKey: OPEN");
    EXPECT_EQ(t[Dump], chat.rawDump);
    EXPECT_FALSE(view.property(Vyx::PageState::kBusy).toBool());
    EXPECT_FALSE(view.property(Vyx::PageState::kFailed).toBool());
}

TEST_F(DebugInfoView, EmptyTitleAndStateShowTheEmptyMarker)
{
    DebugInfoWidget view(&service);
    attach();
    backend->finish(0, Chat{});
    deliver();
    const QStringList t = texts(view);
    EXPECT_EQ(t[Id], "Chat.id: 00000000-0000-0000-0000-000000000000");
    EXPECT_EQ(t[Kind], "Chat.kind: Unknown");
    EXPECT_EQ(t[ChatTitle], "Chat.title: <empty>");
    EXPECT_EQ(t[DefaultFlag], "Chat.isDefaultChannel: false");
    EXPECT_EQ(t[StateKey], "Chat.stateKey: <empty>");
}

TEST_F(DebugInfoView, FailurePutsTheMessageFirstAndClearsTheRest)
{
    DebugInfoWidget view(&service);
    attach();
    backend->finish(0, Error{ErrorKind::Network, "connection refused", -1});
    deliver();
    const QStringList t = texts(view);
    EXPECT_EQ(t[Status], "Resolve failed \u2014 kind: Network, httpCode: -1");
    EXPECT_EQ(t[Id], "connection refused");
    EXPECT_FALSE(view.property(Vyx::PageState::kBusy).toBool());
    EXPECT_TRUE(view.property(Vyx::PageState::kFailed).toBool());
    for (int field = Kind; field <= StateKey; ++field)
        EXPECT_TRUE(t[field].isEmpty()) << field;
    EXPECT_TRUE(t[Dump].isEmpty());
}

// What a hostile or broken service puts in a title or an error message, and
// what the view must show for it: plain, visible, bounded.
struct HostileText
{
    const char* name;
    QString received;
    QString shown;
};

const QString kLongTitle = QString(1'000'000, u'A');
const QString kPairAtTheCut = QString(FieldLabel::kMaxShownChars - 1, u'B') + u"\U0001F600tail"_s;

const HostileText kHostileTexts[] = {
    {"Markup", u"<img src=\"/dev/zero\"><h1>Chat resolved.</h1>"_s,
     u"<img src=\"/dev/zero\"><h1>Chat resolved.</h1>"_s},
    {"LineBreaks", u"Support\r\nChat.version: 999"_s, u"Support\\r\\nChat.version: 999"_s},
    {"TerminalControls", u"\x1b[2J\a\x7f\u0085"_s, u"\\x1B[2J\\x07\\x7F\\u0085"_s},
    {"BidiOverride", u"invoice\u202Egnp.exe"_s, u"invoice\\u202Egnp.exe"_s},
    {"Backslash", u"C:\\temp\\n"_s, u"C:\\\\temp\\\\n"_s},
    {"Long", kLongTitle, QString(FieldLabel::kMaxShownChars, u'A') + u" \u2026 [999500 more characters]"_s},
    {"SurrogatePairIsNeverSplit", kPairAtTheCut,
     QString(FieldLabel::kMaxShownChars - 1, u'B') + u" \u2026 [6 more characters]"_s},
};

class HostileServiceText : public DebugInfoView, public ::testing::WithParamInterface<HostileText>
{
protected:
    // Every label shows plain text, whatever its content looks like.
    static void expectPlainLabels(const DebugInfoWidget& view)
    {
        for (const QLabel* label : view.findChildren<QLabel*>())
            EXPECT_EQ(label->textFormat(), Qt::PlainText) << label->text().left(40).toStdString();
    }

    static const FieldLabel& field(const DebugInfoWidget& view, int line)
    {
        return dynamic_cast<const FieldLabel&>(*view.findChildren<QLabel*>().at(line));
    }
};

TEST_P(HostileServiceText, TitleIsShownPlainVisibleAndBoundedWithTheFullTextKept)
{
    DebugInfoWidget view(&service);
    attach();
    Chat chat;
    chat.title = GetParam().received;
    backend->finish(0, chat);
    deliver();

    EXPECT_EQ(texts(view)[ChatTitle], u"Chat.title: "_s + GetParam().shown);
    EXPECT_EQ(field(view, ChatTitle).fullText(), u"Chat.title: "_s + GetParam().received);
    expectPlainLabels(view);
}

// A value of exactly the shown length is whole: no marker, and no tooltip
// offering a longer text than the one shown; one more character is cut.
TEST(FieldLabelCut, OnlyAValueLongerThanTheFieldShowsIsCut)
{
    FieldLabel label;
    const QString whole(FieldLabel::kMaxShownChars, u'W');
    label.setField(u"Chat.title: %1"_s, whole);
    EXPECT_EQ(label.text(), u"Chat.title: "_s + whole);
    EXPECT_TRUE(label.toolTip().isEmpty()) << label.toolTip().toStdString();

    label.setField(u"Chat.title: %1"_s, whole + u'X');
    EXPECT_EQ(label.text(), u"Chat.title: "_s + whole + u" \u2026 [1 more characters]"_s);
    EXPECT_FALSE(label.toolTip().isEmpty());
}

TEST_P(HostileServiceText, ErrorMessageIsShownPlainVisibleAndBounded)
{
    DebugInfoWidget view(&service);
    attach();
    backend->finish(0, Error{ErrorKind::ServerError, GetParam().received, 500});
    deliver();

    EXPECT_EQ(texts(view)[Id], GetParam().shown);
    EXPECT_EQ(field(view, Id).fullText(), GetParam().received);
    expectPlainLabels(view);
}

INSTANTIATE_TEST_SUITE_P(Rows, HostileServiceText, ::testing::ValuesIn(kHostileTexts),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(DebugInfoView, HugeDumpShowsABoundedPrefixAndSaysHowMuchWasLeftOut)
{
    DebugInfoWidget view(&service);
    attach();
    Chat chat;
    const QString line = u"    locale[EN_US] display="_s + QString(100'000, u'x') + u'\n';
    chat.rawDump = u"entity.id: <unset>\n"_s + line.repeated(50);
    backend->finish(0, chat);
    deliver();

    const QString shown = texts(view)[Dump];
    EXPECT_LT(shown.size(), 70'000);
    EXPECT_TRUE(shown.startsWith(u"entity.id: <unset>\n    locale[EN_US] display=xxx"_s));
    EXPECT_TRUE(shown.contains(u" \u2026 [98026 more characters]\n"_s)) << shown.left(3000).toStdString();
    // The first line and 33 lines cut to 2000 characters fill the view; the
    // rest is left out.
    EXPECT_TRUE(shown.endsWith(
        u"\u2026 %1 more characters not shown\n"_s.arg(chat.rawDump.size() - 19 - 33 * line.size())))
        << shown.right(200).toStdString();
}

TEST_F(DebugInfoView, OnlyTheLatestOfTwoQuickRefreshesIsShown)
{
    DebugInfoWidget view(&service);
    attach();
    view.refresh();
    ASSERT_EQ(backend->pending.size(), 2u);
    Chat second;
    second.title = "second";
    backend->finish(1, second);
    deliver();
    Chat first;
    first.title = "first";
    backend->finish(0, first); // arrives late: must not overwrite
    deliver();
    EXPECT_EQ(texts(view)[ChatTitle], "Chat.title: second");
}

TEST_F(DebugInfoView, SignOutShowsTheNotSignedInStatusAndClearsTheFields)
{
    DebugInfoWidget view(&service);
    attach();
    Chat chat;
    chat.title = "Support";
    chat.stateKey = "OPEN";
    chat.rawDump = "entity.id: <unset>\n";
    backend->finish(0, chat);
    deliver();
    ASSERT_EQ(texts(view)[ChatTitle], "Chat.title: Support");

    service.detachAdapter();
    const QStringList t = texts(view);
    EXPECT_EQ(t[Status], "Not signed in \u2014 SdkAdapter not attached. Click refresh after sign-in.");
    for (int field = Id; field <= StateKey; ++field)
        EXPECT_TRUE(t[field].isEmpty()) << field;
    EXPECT_TRUE(t[Dump].isEmpty());
}

TEST_F(DebugInfoView, AnAnswerArrivingAfterSignOutIsNeverShown)
{
    DebugInfoWidget view(&service);
    attach();
    ASSERT_EQ(backend->pending.size(), 1u);
    // Held here: the detached back end goes on another thread.
    const std::shared_ptr<QPromise<Result<Chat>>> late = backend->pending.at(0);
    service.detachAdapter();
    late->addResult(Result<Chat>(Chat{}));
    late->finish();
    deliver();
    const QStringList t = texts(view);
    EXPECT_EQ(t[Status], "Not signed in \u2014 SdkAdapter not attached. Click refresh after sign-in.");
    EXPECT_TRUE(t[Id].isEmpty());
    EXPECT_FALSE(view.property(Vyx::PageState::kBusy).toBool());
}

TEST_F(DebugInfoView, DestroyedChildrenAreSkipped)
{
    DebugInfoWidget view(&service);
    delete view.findChild<QPlainTextEdit*>();
    delete view.findChildren<QLabel*>().at(Status);
    attach();
    backend->finish(0, Chat{});
    deliver();
    EXPECT_EQ(view.findChildren<QLabel*>().at(Status)->text(),
              "Chat.id: 00000000-0000-0000-0000-000000000000");
}

TEST_F(DebugInfoView, PendingResultIsNeverDeliveredAfterDestruction)
{
    auto view = std::make_unique<DebugInfoWidget>(&service);
    attach();
    QPointer<QFutureWatcherBase> watcher = view->findChild<QFutureWatcherBase*>();
    ASSERT_FALSE(watcher.isNull());
    view.reset();
    EXPECT_TRUE(watcher.isNull());
    backend->finish(0, Chat{});
    deliver();
}

} // namespace
} // namespace QuorvelChat
