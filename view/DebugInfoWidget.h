#pragma once

#include <array>
#include <memory>

#include <QFutureWatcher>
#include <QPointer>
#include <QWidget>

#include "chat/ChatTypes.h"
#include "chat/Result.h"
#include "view/PageLine.h"

class QLabel;
class QPlainTextEdit;

namespace QuorvelChat {

class ChatService;
class FieldLabel;

// The chat page of this build: resolves the duty channel through the chat
// service and shows what came back, field by field, with the raw entity dump
// beneath. Only the latest request is ever shown.
class DebugInfoWidget : public QWidget
{
    Q_OBJECT

public:
    // `service` may be null; when it is not, every adapterChanged() refreshes.
    explicit DebugInfoWidget(ChatService* service, QWidget* parent = nullptr);
    ~DebugInfoWidget() override;

    // Dynamic properties of the page, for a host's probe: true while a
    // resolution is under way, and while what is shown is a failure.
    static constexpr char kBusyProperty[] = "vyxBusy";
    static constexpr char kFailedProperty[] = "vyxFailed";

public Q_SLOTS:
    void refresh();

private:
    void showStatus(const QString& text);
    void showResult();
    void showChat(const Chat& chat);
    void showError(const Error& error);
    void showDump(const QString& dump);
    void copyFullDump() const;
    static void setText(const QPointer<QLabel>& label, const QString& text);
    // Tells the host whether a request is under way, and whether what is
    // shown is a failure.
    void setPageState(bool busy, bool failed);
    void setField(int line, const QString& pattern, const QString& value);

    ChatService* m_service;
    QPointer<QLabel> m_title;
    QPointer<QLabel> m_build;
    QPointer<QLabel> m_status;
    // Id, kind, title, default flag, version and state key (PageLine).
    std::array<QPointer<FieldLabel>, kFieldCount> m_fields;
    QPointer<QPlainTextEdit> m_dump;
    // The dump as received; the view shows a bounded part of it.
    QString m_fullDump;
    std::unique_ptr<QFutureWatcher<Result<Chat>>> m_watcher;
};

} // namespace QuorvelChat
