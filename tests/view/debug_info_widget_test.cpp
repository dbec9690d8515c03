// The diagnostic view against a back end whose futures the test completes by
// hand, so that every state and every ordering is reached deterministically.
#include <gtest/gtest.h>

#include <QApplication>
#include <QBoxLayout>
#include <QClipboard>
#include <QCoreApplication>
#include <QDir>
#include <QGuiApplication>
#include <QLabel>
#include <QMenu>
#include <QPlainTextEdit>
#include <QPromise>
#include <QRegularExpression>

#include "chat/ChatService.h"
#include "support/qt/Golden.h"
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
        pending.push_back(std::make_shared<QPromise<Result<Chat>>>());
        pending.back()->start();
        return pending.back()->future();
    }
    QFuture<Result<MessagesPage>> listMessages(const ListMessagesRequest&) override { return {}; }
    QFuture<Result<Message>> postMessage(const MessageDraftRequest&) override { return {}; }
    QFuture<Result<Message>> patchMessage(const Message&) override { return {}; }
    QFuture<Result<Unit>> deleteMessage(const QUuid&) override { return {}; }
    QFuture<Result<Attachment>> uploadAttachment(const AttachmentUploadRequest&) override { return {}; }
    QFuture<Result<Attachment>> downloadAttachment(const AttachmentDownloadRequest&) override { return {}; }
    QFuture<Result<Draft>> saveDraft(const DraftSaveRequest&) override { return {}; }

    // Finishes request `i`, and lets the queued notification reach the view.
    void finish(std::size_t i, const Result<Chat>& result)
    {
        pending.at(i)->addResult(result);
        pending.at(i)->finish();
        for (int turn = 0; turn < 5; ++turn)
            QCoreApplication::processEvents();
    }
};

// The texts of the view, as a person reads them top to bottom.
QStringList texts(const DebugInfoWidget& view)
{
    QStringList out;
    for (int i = 0; i < view.layout()->count(); ++i) {
        if (auto* label = qobject_cast<QLabel*>(view.layout()->itemAt(i)->widget()))
            out << label->text();
        else if (auto* dump = qobject_cast<QPlainTextEdit*>(view.layout()->itemAt(i)->widget()))
            out << dump->toPlainText();
    }
    return out;
}

// How the page is laid out, item by item, with what decides how each looks
// and behaves: font against the application's, wrapping, text format and
// interaction, style, size rules and stretch.
QString structure(const DebugInfoWidget& view)
{
    auto* layout = qobject_cast<QBoxLayout*>(view.layout());
    const QMargins m = layout->contentsMargins();
    QStringList out{QString::asprintf("%s margins %d %d %d %d spacing %d", layout->metaObject()->className(),
                                      m.left(), m.top(), m.right(), m.bottom(), layout->spacing())};
    const QFont base = QApplication::font();
    for (int i = 0; i < layout->count(); ++i) {
        QWidget* widget = layout->itemAt(i)->widget();
        QString line = u"stretch %1: "_s.arg(layout->stretch(i));
        if (widget == nullptr) {
            out << line + u"space %1"_s.arg(layout->itemAt(i)->sizeHint().height());
            continue;
        }
        const QFont font = widget->font();
        line += QString::asprintf("%s font %+dpt weight %d italic %d family \"%s\" hint %d strategy %d",
                                  widget->metaObject()->className(), font.pointSize() - base.pointSize(),
                                  font.weight(), int(font.italic()),
                                  font.family() == base.family() ? "(default)" : qPrintable(font.family()),
                                  int(font.styleHint()), int(font.styleStrategy()));
        if (auto* label = qobject_cast<QLabel*>(widget))
            line += QString::asprintf(" format %d wrap %d interaction %d policy %d", int(label->textFormat()),
                                      int(label->wordWrap()), int(label->textInteractionFlags()),
                                      int(label->sizePolicy().horizontalPolicy()));
        if (auto* text = qobject_cast<QPlainTextEdit*>(widget))
            line += QString::asprintf(" read-only %d wrap %d min-height %d menu %d", int(text->isReadOnly()),
                                      int(text->lineWrapMode()), text->minimumHeight(),
                                      int(text->contextMenuPolicy()));
        out << line + u" style \"%1\""_s.arg(widget->styleSheet());
    }
    return out.join(u'\n') + u'\n';
}

// The whole page as one text, the build line's date and times checked for
// their form and then masked: they change with every build and refresh.
QString page(const DebugInfoWidget& view)
{
    static const QRegularExpression build(
        uR"(^(Skeleton build, compiled )[A-Z][a-z]{2} [ 1-3]\d \d{4} )"
        uR"(\d\d:\d\d:\d\d(\. Last refresh: )\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d$)"_s,
        QRegularExpression::MultilineOption);
    return texts(view).join(u'\n').replace(build, u"\\1<date> <time>\\2<now>"_s);
}

// What the clipboard holds after `copy`.
QString copied(const std::function<void()>& copy)
{
    QGuiApplication::clipboard()->setText(u"(nothing copied)"_s);
    copy();
    return QGuiApplication::clipboard()->text();
}

class DebugInfoView : public ::testing::Test
{
protected:
    // Attaching announces the adapter, which refreshes the view.
    void SetUp() override
    {
        auto owned = std::make_unique<ManualBackend>();
        backend = owned.get();
        service.setAdapter(std::make_unique<SdkAdapter>(std::move(owned)));
    }

    ChatService service;
    DebugInfoWidget view{&service};
    ManualBackend* backend = nullptr;
};

// What a hostile or broken service puts in a title, and what the view shows
// for it: plain, visible, bounded, with the full text kept for copying. Only
// a cut title offers its full text in a tooltip.
TEST_F(DebugInfoView, HostileTitlesAreShownPlainVisibleAndBounded)
{
    constexpr qsizetype kMax = FieldLabel::kMaxShownChars;
    const std::pair<QString, QString> rows[] = {
        {u"<img src=\"/dev/zero\"><h1>x</h1>"_s, u"<img src=\"/dev/zero\"><h1>x</h1>"_s},
        {u"Support\r\nChat.version: 999"_s, u"Support\u240D\u240AChat.version: 999"_s},
        {u"\x1b[2J\a\x7f\u0085"_s, u"\u241B[2J\u2407\u2421\u27E8U+0085\u27E9"_s},
        {QString(kMax, u'W'), QString(kMax, u'W')},
        {QString(1'000'000, u'A'), QString(kMax, u'A') + u" \u2026 [999500 more characters]"_s},
        {QString(kMax - 1, u'B') + u"\U0001F600tail"_s,
         QString(kMax - 1, u'B') + u" \u2026 [6 more characters]"_s},
    };
    for (const auto& [received, shown] : rows) {
        SCOPED_TRACE(received.left(40).toStdString());
        Chat chat;
        chat.title = received;
        backend->finish(backend->pending.size() - 1, chat);
        EXPECT_EQ(texts(view)[ChatTitle], u"Chat.title: "_s + shown);
        const auto* title = dynamic_cast<const FieldLabel*>(view.findChildren<QLabel*>().at(ChatTitle));
        ASSERT_NE(title, nullptr);
        EXPECT_EQ(title->fullText(), u"Chat.title: "_s + received);
        EXPECT_EQ(title->textFormat(), Qt::PlainText);
        EXPECT_EQ(title->toolTip().isEmpty(), received.size() <= kMax) << title->toolTip().toStdString();
        view.refresh();
    }
}

// Every line of the page in its order, for a chat whose texts are all
// hostile and for a failure, and whether the page is busy or failed; and
// what each copy action copies: the texts as they were received, whole.
TEST_F(DebugInfoView, WholePagesMatchTheirGoldensAndCopyWhatWasReceived)
{
    const QDir golden(QStringLiteral(QUORVEL_GOLDEN_DIR));
    QFile dump(golden.filePath(u"rich.dump.txt"_s));
    ASSERT_TRUE(dump.open(QIODevice::ReadOnly));
    Chat chat;
    chat.id = QUuid(u"6f1c2a90-3b4d-4e5f-8a7b-112233445566"_s);
    chat.kind = ChatKind::Subject;
    chat.title = u"Sup\u202Eport\r\nChat.version: 9 \\ "_s + QString(600, u'T');
    chat.isDefaultChannel = true;
    chat.version = -42;
    chat.stateKey = u"\x1b[1mOPEN\t"_s;
    chat.rawDump = QString::fromUtf8(dump.readAll()) + QString(2050, u'x') + u"\nlast\n"_s;
    // The host counts the page as settled only once it is no longer busy.
    EXPECT_TRUE(view.property(DebugInfoWidget::kBusyProperty).toBool());
    backend->finish(0, chat);
    EXPECT_FALSE(view.property(DebugInfoWidget::kBusyProperty).toBool());
    EXPECT_FALSE(view.property(DebugInfoWidget::kFailedProperty).toBool());
    EXPECT_TRUE(QuorvelTest::matchesGolden(golden.filePath(u"resolved.page.txt"_s), page(view)));
    EXPECT_TRUE(QuorvelTest::matchesGolden(golden.filePath(u"layout.page.txt"_s), structure(view)));

    const QStringList received =
        u"Chat.id: 6f1c2a90-3b4d-4e5f-8a7b-112233445566|Chat.kind: Subject|Chat.title: %1|"
        u"Chat.isDefaultChannel: true|Chat.version: -42|Chat.stateKey: %2"_s.arg(chat.title, chat.stateKey)
            .split(u'|');
    QStringList copies;
    // FieldLabel has no meta-object of its own: every label answers findChildren.
    for (QLabel* label : view.findChildren<QLabel*>()) {
        if (auto* field = dynamic_cast<FieldLabel*>(label))
            copies << copied([field] { field->actions().at(0)->trigger(); });
    }
    EXPECT_EQ(copies, received);
    auto* text = view.findChild<QPlainTextEdit*>();
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(copied([text] {
                  Q_EMIT text->customContextMenuRequested({1, 1});
                  auto* menu = text->findChild<QMenu*>();
                  ASSERT_NE(menu, nullptr);
                  menu->actions().constLast()->trigger();
                  delete menu;
              }),
              chat.rawDump);

    view.refresh();
    backend->finish(1, Error{ErrorKind::Conflict, u"\u2067409\u2069 conflict\nChat.id: forged"_s, 409});
    EXPECT_FALSE(view.property(DebugInfoWidget::kBusyProperty).toBool());
    EXPECT_TRUE(view.property(DebugInfoWidget::kFailedProperty).toBool());
    EXPECT_TRUE(QuorvelTest::matchesGolden(golden.filePath(u"failed.page.txt"_s), page(view)));
    EXPECT_EQ(copied([this] { view.findChildren<QLabel*>().at(Id)->actions().at(0)->trigger(); }),
              u"\u2067409\u2069 conflict\nChat.id: forged"_s);
    // The cut title before it is gone whole: no tooltip, nothing to copy.
    QLabel* title = view.findChildren<QLabel*>().at(ChatTitle);
    EXPECT_TRUE(title->toolTip().isEmpty()
                && copied([title] { title->actions().at(0)->trigger(); }).isEmpty());
}

TEST_F(DebugInfoView, AnAnswerArrivingAfterSignOutIsNeverShown)
{
    // Held here: the detached back end goes on another thread.
    const std::shared_ptr<QPromise<Result<Chat>>> late = backend->pending.at(0);
    service.detachAdapter();
    late->addResult(Result<Chat>(Chat{}));
    late->finish();
    for (int turn = 0; turn < 5; ++turn)
        QCoreApplication::processEvents();
    const QStringList t = texts(view);
    EXPECT_EQ(t[Status], "Not signed in \u2014 SdkAdapter not attached. Click refresh after sign-in.");
    EXPECT_TRUE(t[Id].isEmpty());
    EXPECT_FALSE(view.property(DebugInfoWidget::kBusyProperty).toBool());
}

} // namespace
} // namespace QuorvelChat
