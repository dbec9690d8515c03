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

// What a plug-in shows is not trusted to be safe for a terminal: control
// characters other than line feeds, and bidirectional controls, are printed
// as escapes instead of reaching it raw.
QByteArray terminalSafe(const QString& text)
{
    QString out;
    out.reserve(text.size());
    for (QChar c : text) {
        const char16_t u = c.unicode();
        const bool hidden = (u < 0x20 && u != u'\n') || (u >= 0x7F && u <= 0x9F) || u == 0x061C || u == 0x200E
                            || u == 0x200F || (u >= 0x2028 && u <= 0x202E) || (u >= 0x2066 && u <= 0x2069);
        if (hidden)
            out += QStringLiteral("\\u%1").arg(uint(u), 4, 16, QLatin1Char('0'));
        else
            out += c;
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
