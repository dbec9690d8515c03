// SdkAdapter, the QObject face of a back end: forwards every operation and
// hands back the back end's own future.
#include <functional>
#include <memory>
#include <vector>

#include <QObject>

#include <gtest/gtest.h>

#include "chat/SdkAdapter.h"
#include "chat_test_support.h"

namespace QuorvelChatTest {
namespace {

using namespace QuorvelChat;

// Records every call with the identifying parts of its argument and answers
// with a future whose error names the call, so that a test can tell the
// back end's future from any other.
class RecordingBackend final : public IChatBackend
{
public:
    struct Call
    {
        QString operation;
        QUuid id;
        QString text;
    };

    explicit RecordingBackend(bool* destroyed = nullptr) : m_destroyed(destroyed) {}
    ~RecordingBackend() override
    {
        if (m_destroyed)
            *m_destroyed = true;
    }

    static Error answerFor(const QString& operation)
    {
        return Error{ErrorKind::Conflict, QStringLiteral("backend:") + operation, 123};
    }

    std::vector<Call> calls;

    QFuture<Result<Chat>> resolveChat() override
    {
        return answer<Chat>({QStringLiteral("resolveChat"), {}, {}});
    }
    QFuture<Result<MessagesPage>> listMessages(const ListMessagesRequest& r) override
    {
        return answer<MessagesPage>({QStringLiteral("listMessages"), r.chatId, r.cursor});
    }
    QFuture<Result<Message>> postMessage(const MessageDraftRequest& r) override
    {
        return answer<Message>({QStringLiteral("postMessage"), r.chatId, r.text});
    }
    QFuture<Result<Message>> patchMessage(const Message& m) override
    {
        return answer<Message>({QStringLiteral("patchMessage"), m.id, m.text});
    }
    QFuture<Result<Unit>> deleteMessage(const QUuid& id) override
    {
        return answer<Unit>({QStringLiteral("deleteMessage"), id, {}});
    }
    QFuture<Result<Attachment>> uploadAttachment(const AttachmentUploadRequest& r) override
    {
        return answer<Attachment>({QStringLiteral("uploadAttachment"), r.chatId, r.filePath});
    }
    QFuture<Result<Attachment>> downloadAttachment(const AttachmentDownloadRequest& r) override
    {
        return answer<Attachment>(
            {QStringLiteral("downloadAttachment"), r.attachmentId, r.chatId.toString()});
    }
    QFuture<Result<Draft>> saveDraft(const DraftSaveRequest& r) override
    {
        return answer<Draft>({QStringLiteral("saveDraft"), r.chatId, r.text});
    }

private:
    template <class T>
    QFuture<Result<T>> answer(Call call)
    {
        calls.push_back(call);
        return readyFuture(Result<T>(answerFor(call.operation)));
    }

    bool* m_destroyed;
};

const QUuid kChat = QUuid::fromString(QStringLiteral("{aaaaaaaa-0000-4000-8000-000000000001}"));
const QUuid kOther = QUuid::fromString(QStringLiteral("{bbbbbbbb-0000-4000-8000-000000000002}"));

TEST(SdkAdapter, ForwardsEveryOperationWithItsArgumentAndReturnsTheBackEndsFuture)
{
    struct Row
    {
        const char* operation;
        std::function<std::optional<Error>(IChatBackend&)> call;
        QUuid id;
        QString text;
    };
    MessageDraftRequest draft;
    draft.chatId = kChat;
    draft.text = QStringLiteral("hi");
    Message edited;
    edited.id = kOther;
    edited.text = QStringLiteral("edited");
    const Row rows[] = {
        {"resolveChat", [](IChatBackend& b) { return awaitError(b.resolveChat()); }, QUuid(), {}},
        {"listMessages",
         [](IChatBackend& b) {
             return awaitError(b.listMessages({kChat, QStringLiteral("cur"), 5, 0}));
         },
         kChat, QStringLiteral("cur")},
        {"postMessage", [&](IChatBackend& b) { return awaitError(b.postMessage(draft)); }, kChat,
         QStringLiteral("hi")},
        {"patchMessage", [&](IChatBackend& b) { return awaitError(b.patchMessage(edited)); }, kOther,
         QStringLiteral("edited")},
        {"deleteMessage", [](IChatBackend& b) { return awaitError(b.deleteMessage(kOther)); }, kOther, {}},
        {"uploadAttachment",
         [](IChatBackend& b) {
             return awaitError(
                 b.uploadAttachment({kChat, QStringLiteral("/tmp/f"), QStringLiteral("f"), {}}));
         },
         kChat, QStringLiteral("/tmp/f")},
        {"downloadAttachment",
         [](IChatBackend& b) {
             return awaitError(b.downloadAttachment({kChat, kOther}));
         },
         kOther, kChat.toString()},
        {"saveDraft",
         [](IChatBackend& b) {
             return awaitError(b.saveDraft({kChat, QStringLiteral("draft"), QStringLiteral("md")}));
         },
         kChat, QStringLiteral("draft")},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.operation);
        auto backend = std::make_unique<RecordingBackend>();
        RecordingBackend* seen = backend.get();
        SdkAdapter adapter(std::move(backend));

        const auto error = row.call(adapter);
        ASSERT_TRUE(error.has_value());
        EXPECT_EQ(*error, RecordingBackend::answerFor(QString::fromLatin1(row.operation)));
        ASSERT_EQ(seen->calls.size(), 1u);
        EXPECT_EQ(seen->calls[0].operation, QString::fromLatin1(row.operation));
        EXPECT_EQ(seen->calls[0].id, row.id);
        EXPECT_EQ(seen->calls[0].text, row.text);
    }
}

TEST(SdkAdapter, HandsBackTheBackEndsFutureItself)
{
    // A back end whose future is still pending: finishing it must finish the
    // future that the adapter handed out.
    class PendingBackend final : public ResolveOnlyBackend
    {
    public:
        QPromise<Result<Chat>> promise;
        QFuture<Result<Chat>> resolveChat() override
        {
            promise.start();
            return promise.future();
        }
    };

    auto backend = std::make_unique<PendingBackend>();
    PendingBackend* pending = backend.get();
    SdkAdapter adapter(std::move(backend));
    const auto future = adapter.resolveChat();
    EXPECT_FALSE(future.isFinished());

    Chat chat;
    chat.title = QStringLiteral("late");
    pending->promise.addResult(Result<Chat>(chat));
    pending->promise.finish();
    const auto result = awaitResult(future);
    ASSERT_TRUE(result.has_value());
    ASSERT_TRUE(result->hasValue());
    EXPECT_EQ(result->value().title, QStringLiteral("late"));
}

TEST(SdkAdapter, IsCastableToTheBackEndInterfaceByIdAndNamedQualified)
{
    auto adapter = std::make_unique<SdkAdapter>(std::make_unique<RecordingBackend>());
    QObject* object = adapter.get();
    IChatBackend* backend = qobject_cast<IChatBackend*>(object);
    ASSERT_NE(backend, nullptr);
    EXPECT_EQ(backend, static_cast<IChatBackend*>(adapter.get()));
    EXPECT_STREQ(qobject_interface_iid<IChatBackend*>(), "IChatBackend");
    EXPECT_NE(object->qt_metacast("IChatBackend"), nullptr);

    EXPECT_STREQ(adapter->metaObject()->className(), "QuorvelChat::SdkAdapter");

    QObject plain;
    EXPECT_EQ(qobject_cast<IChatBackend*>(&plain), nullptr);
}

TEST(SdkAdapter, OwnsItsBackEndAndParent)
{
    bool destroyed = false;
    QObject parent;
    auto* adapter = new SdkAdapter(std::make_unique<RecordingBackend>(&destroyed), &parent);
    EXPECT_EQ(adapter->parent(), &parent);
    EXPECT_FALSE(destroyed);
    delete adapter;
    EXPECT_TRUE(destroyed);
}

} // namespace
} // namespace QuorvelChatTest
