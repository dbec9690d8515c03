#include "view/DebugInfoWidget.h"

#include <QDateTime>
#include <QLabel>
#include <QPlainTextEdit>
#include <QVBoxLayout>

#include "chat/ChatService.h"

namespace QuorvelChat {
namespace {

QLabel* fieldLabel(QWidget* parent)
{
    auto* label = new QLabel(parent);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    // An error message can be a whole reply body: shown as it stands, but
    // never allowed to widen the host's window to fit it.
    label->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    return label;
}

QString orEmptyMarker(const QString& text)
{
    return text.isEmpty() ? QStringLiteral("<empty>") : text;
}

} // namespace

DebugInfoWidget::DebugInfoWidget(ChatService* service, QWidget* parent)
    : QWidget(parent)
    , m_service(service)
{
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(24, 24, 24, 24);
    layout->setSpacing(6);

    m_title = new QLabel(tr("Quorvel chat plugin"), this);
    QFont titleFont = m_title->font();
    titleFont.setPointSize(titleFont.pointSize() + 4);
    titleFont.setWeight(QFont::Bold);
    m_title->setFont(titleFont);
    layout->addWidget(m_title);

    m_build = new QLabel(this);
    layout->addWidget(m_build);

    layout->addSpacing(8);
    m_status = new QLabel(this);
    m_status->setWordWrap(true);
    QFont statusFont = m_status->font();
    statusFont.setWeight(QFont::Bold);
    m_status->setFont(statusFont);
    layout->addWidget(m_status);

    for (QPointer<QLabel>* field : {&m_id, &m_kind, &m_chatTitle, &m_defaultChannel, &m_version,
                                    &m_stateKey}) {
        *field = fieldLabel(this);
        layout->addWidget(*field);
    }

    auto* caption = new QLabel(tr("Raw EntityDto dump:"), this);
    caption->setStyleSheet(QStringLiteral("color: gray; margin-top: 8px;"));
    layout->addWidget(caption);

    m_dump = new QPlainTextEdit(this);
    m_dump->setReadOnly(true);
    // Consolas where the machine has it, another fixed-width face otherwise.
    QFont dumpFont(QStringLiteral("Consolas"));
    dumpFont.setStyleHint(QFont::Monospace, QFont::PreferDefault);
    m_dump->setFont(dumpFont);
    m_dump->setMinimumHeight(180);
    layout->addWidget(m_dump, 1);

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
    SdkAdapter* adapter = m_service->adapter();
    if (adapter == nullptr) {
        showStatus(tr("Not signed in — SdkAdapter not attached. Click refresh after sign-in."));
        return;
    }
    // Dropping the watcher drops the earlier request's result with it.
    m_watcher.reset();
    showStatus(tr("Resolving duty channel…"));
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
    setText(m_status, text);
    for (const QPointer<QLabel>& field : {m_id, m_kind, m_chatTitle, m_defaultChannel, m_version,
                                          m_stateKey})
        setText(field, QString());
    if (m_dump)
        m_dump->clear();
}

void DebugInfoWidget::showChat(const Chat& chat)
{
    setText(m_status, tr("Chat resolved."));
    setText(m_id, tr("Chat.id: %1").arg(chat.id.toString(QUuid::WithoutBraces)));
    setText(m_kind, tr("Chat.kind: %1").arg(chatKindText(chat.kind)));
    setText(m_chatTitle, tr("Chat.title: %1").arg(orEmptyMarker(chat.title)));
    setText(m_defaultChannel, tr("Chat.isDefaultChannel: %1")
                                  .arg(chat.isDefaultChannel ? QStringLiteral("true")
                                                             : QStringLiteral("false")));
    setText(m_version, tr("Chat.version: %1").arg(chat.version));
    setText(m_stateKey, tr("Chat.stateKey: %1").arg(orEmptyMarker(chat.stateKey)));
    if (m_dump)
        m_dump->setPlainText(chat.rawDump);
}

void DebugInfoWidget::showError(const Error& error)
{
    showStatus(tr("Resolve failed — kind: %1, httpCode: %2")
                   .arg(errorKindText(error.kind))
                   .arg(error.httpCode));
    setText(m_id, error.message);
}

void DebugInfoWidget::setText(const QPointer<QLabel>& label, const QString& text)
{
    if (label)
        label->setText(text);
}

} // namespace QuorvelChat
