#pragma once

#include <memory>

#include <QFutureWatcher>
#include <QPointer>
#include <QWidget>

#include "chat/ChatTypes.h"
#include "chat/Result.h"

class QLabel;
class QPlainTextEdit;

namespace QuorvelChat {

class ChatService;

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

public Q_SLOTS:
    void refresh();

private:
    void showStatus(const QString& text);
    void showResult();
    void showChat(const Chat& chat);
    void showError(const Error& error);
    static void setText(const QPointer<QLabel>& label, const QString& text);

    ChatService* m_service;
    QPointer<QLabel> m_title;
    QPointer<QLabel> m_build;
    QPointer<QLabel> m_status;
    QPointer<QLabel> m_id;
    QPointer<QLabel> m_kind;
    QPointer<QLabel> m_chatTitle;
    QPointer<QLabel> m_defaultChannel;
    QPointer<QLabel> m_version;
    QPointer<QLabel> m_stateKey;
    QPointer<QPlainTextEdit> m_dump;
    std::unique_ptr<QFutureWatcher<Result<Chat>>> m_watcher;
};

} // namespace QuorvelChat
