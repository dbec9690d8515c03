#include "view/FieldLabel.h"

#include <QAction>
#include <QClipboard>
#include <QGuiApplication>

#include "view/DisplayText.h"

namespace QuorvelChat {

FieldLabel::FieldLabel(QWidget* parent) : QLabel(parent)
{
    setTextFormat(Qt::PlainText);
    setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    // A long value is cut, but even the cut text must never widen the host's
    // window to fit it.
    setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);

    auto* copy = new QAction(tr("Copy full text"), this);
    connect(copy, &QAction::triggered, this, [this] { copyFullText(); });
    addAction(copy);
    setContextMenuPolicy(Qt::ActionsContextMenu);
}

void FieldLabel::setField(const QString& pattern, const QString& value)
{
    // Both are kept as they are (implicitly shared): the full text is only
    // put together when somebody copies it.
    m_pattern = pattern;
    m_value = value;
    const bool cut = value.size() > kMaxShownChars;
    setText(pattern.arg(escapedPrefix(value, kMaxShownChars)));
    setToolTip(
        cut ? tr("Cut to its first %1 characters; right-click to copy the full text.").arg(kMaxShownChars)
            : QString());
}

QString FieldLabel::fullText() const
{
    return m_pattern.isEmpty() ? QString() : m_pattern.arg(m_value);
}

void FieldLabel::clearField()
{
    m_pattern.clear();
    m_value.clear();
    clear();
    setToolTip(QString());
}

void FieldLabel::copyFullText() const
{
    if (QClipboard* clipboard = QGuiApplication::clipboard())
        clipboard->setText(fullText());
}

} // namespace QuorvelChat
