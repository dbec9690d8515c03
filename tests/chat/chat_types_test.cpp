// The chat layer's value types: kind texts, the Result holder, the
// not-implemented helper, and their travel through Qt's meta-type system.
#include <utility>
#include <variant>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QMetaType>
#include <QObject>
#include <QTimer>

#include <gtest/gtest.h>

#include "chat/MetaTypes.h"
#include "chat_test_support.h"

namespace QuorvelChatTest {
namespace {

using namespace QuorvelChat;

// ---------------------------------------------------------------- kind texts

TEST(ChatKinds, EveryValuePrintsItsNameAndAnOutsiderAQuestionMark)
{
    const std::pair<qint32, const char*> errorKinds[] = {
        {0, "Network"},     {1, "Auth"},     {2, "NotFound"},       {3, "Conflict"}, {4, "Validation"},
        {5, "ServerError"}, {6, "Canceled"}, {7, "NotImplemented"}, {8, "Unknown"},  {9, "?"}};
    for (const auto& [value, text] : errorKinds)
        EXPECT_EQ(errorKindText(ErrorKind(value)), QString::fromLatin1(text)) << value;

    const std::pair<qint32, const char*> chatKinds[] = {
        {0, "Unknown"}, {1, "BusinessTicket"}, {2, "Subject"}, {3, "UserProfile"}, {4, "?"}};
    for (const auto& [value, text] : chatKinds)
        EXPECT_EQ(chatKindText(ChatKind(value)), QString::fromLatin1(text)) << value;
}

// ---------------------------------------------------------------- Error

TEST(ChatError, DefaultIsUnknownWithoutMessageAndWithoutExchange)
{
    const Error error;
    EXPECT_EQ(error.kind, ErrorKind::Unknown);
    EXPECT_TRUE(error.message.isEmpty());
    EXPECT_EQ(error.httpCode, -1);
}

TEST(ChatError, NotImplementedNamesTheOperationAfterOneBlank)
{
    EXPECT_EQ(notImplemented(QStringLiteral("saveDraft")),
              (Error{ErrorKind::NotImplemented, QStringLiteral("Not implemented: saveDraft"), -1}));
    EXPECT_EQ(notImplemented(QString()).message, QStringLiteral("Not implemented: "));
}

// ---------------------------------------------------------------- Result

Chat sampleChat()
{
    Chat chat;
    chat.id = QUuid::fromString(QStringLiteral("{6f1c0a52-3b1e-4d7a-9f00-1234567890ab}"));
    chat.kind = ChatKind::BusinessTicket;
    chat.title = QStringLiteral("Printer on fire");
    chat.businessId = QStringLiteral("b1");
    chat.stateKey = QStringLiteral("open");
    chat.isDefaultChannel = true;
    chat.version = 42;
    chat.rawDump = QStringLiteral("entity.id: ...\n");
    return chat;
}

void expectSameChat(const Chat& got, const Chat& want)
{
    EXPECT_EQ(got.id, want.id);
    EXPECT_EQ(got.kind, want.kind);
    EXPECT_EQ(got.title, want.title);
    EXPECT_EQ(got.auxText, want.auxText);
    EXPECT_EQ(got.businessId, want.businessId);
    EXPECT_EQ(got.stateKey, want.stateKey);
    EXPECT_EQ(got.auxTime1, want.auxTime1);
    EXPECT_EQ(got.auxTime2, want.auxTime2);
    EXPECT_EQ(got.isDefaultChannel, want.isDefaultChannel);
    EXPECT_EQ(got.version, want.version);
    EXPECT_EQ(got.rawDump, want.rawDump);
}

TEST(ChatResult, HoldsWhatItWasBuiltFrom)
{
    const Result<Chat> fromChat(sampleChat());
    ASSERT_TRUE(fromChat.hasValue());
    expectSameChat(fromChat.value(), sampleChat());

    const Error conflict{ErrorKind::Conflict, QStringLiteral("taken"), 409};
    const Result<Chat> fromError(conflict);
    ASSERT_FALSE(fromError.hasValue());
    EXPECT_EQ(fromError.error(), conflict);
}

TEST(ChatResult, SwitchingAlternativesReleasesTheOneThatWasHeld)
{
    // Heap data on purpose: a literal never counts as detached. Once the
    // result lets go, this copy is the only owner again.
    QString title = QString::fromUtf8("shared title");
    QString message = QString::fromUtf8("shared message");
    ASSERT_TRUE(title.isDetached());
    ASSERT_TRUE(message.isDetached());
    Chat chat = sampleChat();
    chat.title = title;
    Result<Chat> result(std::move(chat));
    ASSERT_FALSE(title.isDetached());

    result = Error{ErrorKind::ServerError, message, 503};
    ASSERT_FALSE(result.hasValue());
    EXPECT_EQ(result.error(), (Error{ErrorKind::ServerError, QStringLiteral("shared message"), 503}));
    EXPECT_TRUE(title.isDetached());
    ASSERT_FALSE(message.isDetached());

    result = sampleChat();
    ASSERT_TRUE(result.hasValue());
    expectSameChat(result.value(), sampleChat());
    EXPECT_TRUE(message.isDetached());

    Chat other = sampleChat();
    other.title = QStringLiteral("second");
    result = other;
    EXPECT_EQ(result.value().title, QStringLiteral("second"));
}

// Every result type the layer delivers behaves the same way.
template <class T>
class EveryResultTest : public ::testing::Test
{
};

using ResultValueTypes = ::testing::Types<Chat, MessagesPage, Message, Unit, Attachment, Draft>;
TYPED_TEST_SUITE(EveryResultTest, ResultValueTypes);

TYPED_TEST(EveryResultTest, DefaultIsUnknownErrorAndAlternativesSwitch)
{
    Result<TypeParam> result;
    ASSERT_FALSE(result.hasValue());
    EXPECT_EQ(result.error(), (Error{ErrorKind::Unknown, QString(), -1}));
    EXPECT_THROW((void)result.value(), std::bad_variant_access);
    EXPECT_THROW((void)std::as_const(result).value(), std::bad_variant_access);

    result = TypeParam{};
    EXPECT_TRUE(result.hasValue());
    EXPECT_NO_THROW((void)result.value());
    EXPECT_THROW((void)result.error(), std::bad_variant_access);
    EXPECT_THROW((void)std::as_const(result).error(), std::bad_variant_access);

    result = notImplemented(QStringLiteral("first"));
    result = notImplemented(QStringLiteral("op"));
    ASSERT_FALSE(result.hasValue());
    EXPECT_EQ(result.error().message, QStringLiteral("Not implemented: op"));
}

// ---------------------------------------------------------------- meta-types

TEST(ChatMetaTypes, EveryChatValueIsKnownByNameAfterRegistration)
{
    registerMetaTypes();
    registerMetaTypes(); // a second call must be harmless
    const char* const names[] = {"QuorvelChat::ChatKind",
                                 "QuorvelChat::ErrorKind",
                                 "QuorvelChat::Error",
                                 "QuorvelChat::Unit",
                                 "QuorvelChat::Chat",
                                 "QuorvelChat::Message",
                                 "QuorvelChat::MessagesPage",
                                 "QuorvelChat::Attachment",
                                 "QuorvelChat::Draft",
                                 "QuorvelChat::ListMessagesRequest",
                                 "QuorvelChat::MessageDraftRequest",
                                 "QuorvelChat::AttachmentUploadRequest",
                                 "QuorvelChat::AttachmentDownloadRequest",
                                 "QuorvelChat::DraftSaveRequest",
                                 "QuorvelChat::Result<QuorvelChat::Chat>",
                                 "QuorvelChat::Result<QuorvelChat::MessagesPage>",
                                 "QuorvelChat::Result<QuorvelChat::Message>",
                                 "QuorvelChat::Result<QuorvelChat::Unit>",
                                 "QuorvelChat::Result<QuorvelChat::Attachment>",
                                 "QuorvelChat::Result<QuorvelChat::Draft>"};
    for (const char* name : names) {
        const QMetaType type = QMetaType::fromName(name);
        EXPECT_TRUE(type.isValid()) << name;
        EXPECT_STREQ(type.name(), name);
    }
}

class ResultSender : public QObject
{
    Q_OBJECT
Q_SIGNALS:
    void produced(QuorvelChat::Result<QuorvelChat::Chat> result);
};

class ResultReceiver : public QObject
{
    Q_OBJECT
public:
    std::optional<QuorvelChat::Result<QuorvelChat::Chat>> got;
public Q_SLOTS:
    void take(QuorvelChat::Result<QuorvelChat::Chat> result) { got = result; }
};

TEST(ChatMetaTypes, AResultTravelsThroughAQueuedSignalConnectedByName)
{
    // A connection by signature finds the argument type by its registered
    // name alone; a queued one must also copy it into the event.
    registerMetaTypes();
    ResultSender sender;
    ResultReceiver receiver;
    ASSERT_TRUE(QObject::connect(&sender, SIGNAL(produced(QuorvelChat::Result<QuorvelChat::Chat>)), &receiver,
                                 SLOT(take(QuorvelChat::Result<QuorvelChat::Chat>)), Qt::QueuedConnection));

    Q_EMIT sender.produced(Result<Chat>(sampleChat()));
    EXPECT_FALSE(receiver.got.has_value()) << "a queued connection delivers later";

    QDeadlineTimer deadline(kWatchdog);
    while (!receiver.got && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    ASSERT_TRUE(receiver.got.has_value());
    ASSERT_TRUE(receiver.got->hasValue());
    expectSameChat(receiver.got->value(), sampleChat());
}

} // namespace
} // namespace QuorvelChatTest

#include "chat_types_test.moc"
