#include "ViewMonitor.h"

#include <algorithm>

#include <cstdio>

#include <QLabel>
#include <QPlainTextEdit>

#include "PageState.h"

namespace {

constexpr int kPollMs = 20;
constexpr int kDebounceMs = 100;

void collect(QWidget* widget, QString& out)
{
    for (QObject* child : widget->children()) {
        auto* w = qobject_cast<QWidget*>(child);
        if (w == nullptr)
            continue;
        if (auto* label = qobject_cast<QLabel*>(w); label && label->isVisible())
            out += label->text() + QLatin1Char('\n');
        else if (auto* text = qobject_cast<QPlainTextEdit*>(w))
            out += text->toPlainText() + QLatin1Char('\n');
        collect(w, out);
    }
}

// What a plug-in shows is not trusted to be safe for a terminal. Whatever
// Unicode counts as a control, a format character or a line or paragraph
// separator (a line feed between lines aside) is printed as "⟨U+XXXX⟩"
// instead of reaching it raw: the rule of the chat plug-in's own notation,
// which a well-behaved plug-in has applied already.
QByteArray terminalSafe(const QString& text)
{
    QString out;
    out.reserve(text.size());
    for (qsizetype at = 0; at < text.size();) {
        const bool pair = text[at].isHighSurrogate() && at + 1 < text.size() && text[at + 1].isLowSurrogate();
        const char32_t c = pair ? QChar::surrogateToUcs4(text[at], text[at + 1]) : text[at].unicode();
        const qsizetype units = pair ? 2 : 1;
        const QChar::Category category = QChar::category(c);
        const bool hidden =
            c != u'\n'
            && (category == QChar::Other_Control || category == QChar::Other_Format
                || category == QChar::Separator_Line || category == QChar::Separator_Paragraph);
        if (hidden)
            out += QStringLiteral("\u27E8U+%1\u27E9").arg(uint(c), 4, 16, QLatin1Char('0')).toUpper();
        else
            out += QStringView(text).sliced(at, units);
        at += units;
    }
    return out.toUtf8();
}

} // namespace

ViewMonitor::ViewMonitor(std::function<QWidget*()> page, bool print, int settleMs, QObject* parent)
    : QObject(parent)
    , m_page(std::move(page))
    , m_print(print)
    , m_settleMs(settleMs)
{
    m_timer.setInterval(kPollMs);
    connect(&m_timer, &QTimer::timeout, this, &ViewMonitor::poll);
}

void ViewMonitor::setReady(bool ready)
{
    m_ready = ready;
    m_sinceChange.restart();
}

void ViewMonitor::rearm(bool ready)
{
    m_settled = false;
    setReady(ready);
}

void ViewMonitor::start()
{
    m_sinceChange.start();
    m_last = snapshot(m_page());
    m_timer.start();
}

QString ViewMonitor::snapshot(QWidget* root)
{
    QString out;
    if (root != nullptr)
        collect(root, out);
    return out;
}

bool ViewMonitor::pageSays(QWidget* root, const char* property)
{
    if (root == nullptr)
        return false;
    if (root->property(property).toBool())
        return true;
    const QList<QWidget*> widgets = root->findChildren<QWidget*>();
    return std::any_of(widgets.begin(), widgets.end(),
                       [property](const QWidget* w) { return w->property(property).toBool(); });
}

void ViewMonitor::poll()
{
    const QString now = snapshot(m_page());
    if (now != m_last) {
        m_last = now;
        m_printed = false;
        m_settled = false;
        m_sinceChange.restart();
        return;
    }
    const qint64 quiet = m_sinceChange.elapsed();
    if (m_print && !m_printed && quiet >= kDebounceMs) {
        const QByteArray text = terminalSafe("--- view\n" + m_last);
        std::fwrite(text.constData(), 1, size_t(text.size()), stdout);
        std::fflush(stdout);
        m_printed = true;
    }
    if (m_ready && !m_settled && quiet >= std::max(m_settleMs, kDebounceMs) && (m_printed || !m_print)
        && !pageSays(m_page(), Vyx::PageState::kBusy)) {
        m_settled = true;
        Q_EMIT settled();
    }
}
