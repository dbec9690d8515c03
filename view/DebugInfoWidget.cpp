#include "view/DebugInfoWidget.h"

#include <QClipboard>
#include <QDateTime>
#include <QGuiApplication>
#include <QLabel>
#include <QMenu>
#include <QPlainTextEdit>
#include <QVBoxLayout>

#include "chat/ChatService.h"
#include "view/DisplayText.h"
#include "view/FieldLabel.h"

namespace QuorvelChat {
namespace {

// A dump is a few dozen short lines; these bounds only bite when the service
// sends something huge, and keep laying it out well under a frame or two.
constexpr qsizetype kMaxDumpLineChars = 2000;
constexpr qsizetype kMaxDumpChars = 64 * 1024;

// Every label of the view shows plain text: never markup, links or images,
// whatever a text happens to look like.
QLabel* plainLabel(const QString& text, QWidget* parent)
{
    auto* label = new QLabel(text, parent);
    label->setTextFormat(Qt::PlainText);
    return label;
}

QString orEmptyMarker(const QString& text)
{
    return text.isEmpty() ? QStringLiteral("<empty>") : text;
}

} // namespace

DebugInfoWidget::DebugInfoWidget(ChatService* service, QWidget* parent) : QWidget(parent), m_service(service)
{
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(24, 24, 24, 24);
    layout->setSpacing(6);

    m_title = plainLabel(tr("Quorvel chat plugin"), this);
    QFont titleFont = m_title->font();
    titleFont.setPointSize(titleFont.pointSize() + 4);
    titleFont.setWeight(QFont::Bold);
    m_title->setFont(titleFont);
    layout->addWidget(m_title);

    m_build = plainLabel(QString(), this);
    layout->addWidget(m_build);

    layout->addSpacing(8);
    m_status = plainLabel(QString(), this);
    m_status->setWordWrap(true);
    QFont statusFont = m_status->font();
    statusFont.setWeight(QFont::Bold);
    m_status->setFont(statusFont);
    layout->addWidget(m_status);

    for (QPointer<FieldLabel>& field : m_fields) {
        field = new FieldLabel(this);
        layout->addWidget(field);
    }

    auto* caption = plainLabel(tr("Raw EntityDto dump:"), this);
    caption->setStyleSheet(QStringLiteral("color: gray; margin-top: 8px;"));
    layout->addWidget(caption);

    m_dump = new QPlainTextEdit(this);
    m_dump->setReadOnly(true);
    // A wrapped line would start a screen line with service text that could
    // pass for a line of its own: long lines scroll sideways instead.
    m_dump->setLineWrapMode(QPlainTextEdit::NoWrap);
    // Consolas where the machine has it, another fixed-width face otherwise.
    QFont dumpFont(QStringLiteral("Consolas"));
    dumpFont.setStyleHint(QFont::Monospace, QFont::PreferDefault);
    m_dump->setFont(dumpFont);
    m_dump->setMinimumHeight(180);
    layout->addWidget(m_dump, 1);
    // The view holds a bounded part of a huge dump; the whole one can still
    // be copied from the context menu.
    m_dump->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(m_dump, &QWidget::customContextMenuRequested, this, [this](const QPoint& at) {
        if (!m_dump)
            return;
        QMenu* menu = m_dump->createStandardContextMenu(at);
        menu->setAttribute(Qt::WA_DeleteOnClose);
        QAction* copyAll = menu->addAction(tr("Copy full dump"));
        copyAll->setEnabled(!m_fullDump.isEmpty());
        connect(copyAll, &QAction::triggered, this, [this] { copyFullDump(); });
        menu->popup(m_dump->viewport()->mapToGlobal(at));
    });

    if (m_service != nullptr)
        connect(m_service, &ChatService::adapterChanged, this, &DebugInfoWidget::refresh);
}

DebugInfoWidget::~DebugInfoWidget()
{
    // Gone before the children, so a pending result is never delivered.
    m_watcher.reset();
}

void DebugInfoWidget::refresh()
{
    setText(m_build, tr("Skeleton build, compiled %1 %2. Last refresh: %3")
                         .arg(QStringLiteral(__DATE__), QStringLiteral(__TIME__),
                              QDateTime::currentDateTime().toString(Qt::ISODate)));
    if (m_service == nullptr) {
        showStatus(tr("No ChatService — plugin not initialized?"));
        return;
    }
    // Dropping the watcher drops the earlier request's result with it: only
    // the latest request may show, and after a sign-out none.
    m_watcher.reset();
    SdkAdapter* adapter = m_service->adapter();
    if (adapter == nullptr) {
        showStatus(tr("Not signed in — SdkAdapter not attached. Click refresh after sign-in."));
        return;
    }
    showStatus(tr("Resolving duty channel…"));
    setPageState(true, false);
    m_watcher = std::make_unique<QFutureWatcher<Result<Chat>>>(this);
    connect(m_watcher.get(), &QFutureWatcherBase::finished, this, [this] { showResult(); });
    m_watcher->setFuture(adapter->resolveChat());
}

void DebugInfoWidget::showResult()
{
    if (!m_watcher)
        return;
    const Result<Chat> result = m_watcher->future().resultAt(0);
    if (result.hasValue())
        showChat(result.value());
    else
        showError(result.error());
}

void DebugInfoWidget::showStatus(const QString& text)
{
    setPageState(false, false);
    setText(m_status, text);
    for (const QPointer<FieldLabel>& field : m_fields) {
        if (field)
            field->clearField();
    }
    showDump(QString());
}

void DebugInfoWidget::showChat(const Chat& chat)
{
    setPageState(false, false);
    setText(m_status, tr("Chat resolved."));
    setField(Id, tr("Chat.id: %1"), chat.id.toString(QUuid::WithoutBraces));
    setField(Kind, tr("Chat.kind: %1"), chatKindText(chat.kind));
    setField(ChatTitle, tr("Chat.title: %1"), orEmptyMarker(chat.title));
    setField(DefaultFlag, tr("Chat.isDefaultChannel: %1"),
             chat.isDefaultChannel ? QStringLiteral("true") : QStringLiteral("false"));
    setField(Version, tr("Chat.version: %1"), QString::number(chat.version));
    setField(StateKey, tr("Chat.stateKey: %1"), orEmptyMarker(chat.stateKey));
    showDump(chat.rawDump);
}

void DebugInfoWidget::showError(const Error& error)
{
    showStatus(
        tr("Resolve failed — kind: %1, httpCode: %2").arg(errorKindText(error.kind)).arg(error.httpCode));
    setPageState(false, true);
    setField(Id, QStringLiteral("%1"), error.message);
}

void DebugInfoWidget::setPageState(bool busy, bool failed)
{
    setProperty(kBusyProperty, busy);
    setProperty(kFailedProperty, failed);
}

void DebugInfoWidget::showDump(const QString& dump)
{
    m_fullDump = dump;
    if (m_dump)
        m_dump->setPlainText(boundedLines(dump, kMaxDumpLineChars, kMaxDumpChars));
}

void DebugInfoWidget::copyFullDump() const
{
    if (QClipboard* clipboard = QGuiApplication::clipboard())
        clipboard->setText(m_fullDump);
}

void DebugInfoWidget::setText(const QPointer<QLabel>& label, const QString& text)
{
    if (label)
        label->setText(text);
}

void DebugInfoWidget::setField(int line, const QString& pattern, const QString& value)
{
    if (const QPointer<FieldLabel>& label = m_fields.at(std::size_t(line - kFirstField)))
        label->setField(pattern, value);
}

} // namespace QuorvelChat
