#pragma once

#include <functional>

#include <QElapsedTimer>
#include <QObject>
#include <QString>
#include <QTimer>

class QWidget;

// Watches the texts of the shown page: prints each new state once it has held
// for the debounce time, and reports the page settled once nothing changed
// for the settle time while the page was not busy (PageState.h).
class ViewMonitor : public QObject
{
    Q_OBJECT

public:
    ViewMonitor(std::function<QWidget*()> page, bool print, int settleMs, QObject* parent = nullptr);

    // The settle clock only runs once the caller says the start-up is done.
    void setReady(bool ready);
    void start();
    // Watches for the next settling, as after start(): the caller is about
    // to change what the page shows.
    void rearm(bool ready);

    // Every visible label's text and every plain-text view's text, in
    // widget-tree order, each followed by a line feed.
    static QString snapshot(QWidget* root);
    // Whether the page, or any widget in it, has the dynamic property set.
    static bool pageSays(QWidget* root, const char* property);

Q_SIGNALS:
    void settled();

private:
    void poll();

    std::function<QWidget*()> m_page;
    bool m_print;
    int m_settleMs;
    bool m_ready = true;
    bool m_printed = false;
    bool m_settled = false;
    QString m_last;
    QElapsedTimer m_sinceChange;
    QTimer m_timer;
};
