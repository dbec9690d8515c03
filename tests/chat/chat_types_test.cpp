// The chat layer's value types: kind texts, the Result holder, the
// not-implemented helper, and their travel through Qt's meta-type system.
#include <limits>
#include <variant>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QMetaType>
#include <QObject>
#include <QTimer>
#include <QVariant>

#include <gtest/gtest.h>

#include "chat/MetaTypes.h"
#include "chat_test_support.h"

namespace QuorvelChatTest {
namespace {

using namespace QuorvelChat;

// ---------------------------------------------------------------- kind texts

struct KindTextRow
{
    qint32 value;
    const char* text;
};

void PrintTo(const KindTextRow& row, std::ostream* out)
{
    *out << row.value << " -> " << row.text;
}

class ErrorKindTextTest : public ::testing::TestWithParam<KindTextRow>
{
};

TEST_P(ErrorKindTextTest, PrintsTheNameOfItsNumber)
{
    EXPECT_EQ(errorKindText(ErrorKind(GetParam().value)), QString::fromLatin1(GetParam().text));
}

INSTANTIATE_TEST_SUITE_P(
    EveryValueAndOutsiders, ErrorKindTextTest,
    ::testing::Values(KindTextRow{0, "Network"}, KindTextRow{1, "Auth"},
                      KindTextRow{2, "NotFound"}, KindTextRow{3, "Conflict"},
                      KindTextRow{4, "Validation"}, KindTextRow{5, "ServerError"},
                      KindTextRow{6, "Canceled"}, KindTextRow{7, "NotImplemented"},
                      KindTextRow{8, "Unknown"}, KindTextRow{9, "?"}, KindTextRow{-1, "?"},
                      KindTextRow{std::numeric_limits<qint32>::max(), "?"}));

class ChatKindTextTest : public ::testing::TestWithParam<KindTextRow>
{
};

TEST_P(ChatKindTextTest, PrintsTheNameOfItsNumber)
{
    EXPECT_EQ(chatKindText(ChatKind(GetParam().value)), QString::fromLatin1(GetParam().text));
}

INSTANTIATE_TEST_SUITE_P(
    EveryValueAndOutsiders, ChatKindTextTest,
    ::testing::Values(KindTextRow{0, "Unknown"}, KindTextRow{1, "BusinessTicket"},
                      KindTextRow{2, "Subject"}, KindTextRow{3, "UserProfile"},
                      KindTextRow{4, "?"}, KindTextRow{-1, "?"}));

TEST(ChatKinds, BothEnumerationsAreThirtyTwoBitsWide)
{
    // They travel as numbers between the layers and in queued signals.
    EXPECT_EQ(sizeof(ErrorKind), 4u);
    EXPECT_EQ(sizeof(ChatKind), 4u);
}

// ---------------------------------------------------------------- Error

TEST(ChatError, DefaultIsUnknownWithoutMessageAndWithoutExchange)
{
    const Error error;
    EXPECT_EQ(error.kind, ErrorKind::Unknown);
    EXPECT_EQ(qint32(error.kind), 8);
    EXPECT_TRUE(error.message.isEmpty());
    EXPECT_EQ(error.httpCode, -1);
}

TEST(ChatError, NotImplementedNamesTheOperationAfterOneBlank)
{
    const Error error = notImplemented(QStringLiteral("x"));
    EXPECT_EQ(error.kind, ErrorKind::NotImplemented);
    EXPECT_EQ(error.message, QStringLiteral("Not implemented: x"));
    EXPECT_EQ(error.httpCode, -1);
}

TEST(ChatError, NotImplementedKeepsTheNameAsGiven)
{
    EXPECT_EQ(notImplemented(QStringLiteral("saveDraft")).message,
              QStringLiteral("Not implemented: saveDraft"));
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

TEST(ChatResult, DefaultReportsAnUnknownErrorNeverEmptiness)
{
    const Result<Chat> result;
    ASSERT_FALSE(result.hasValue());
    EXPECT_EQ(result.error(), (Error{ErrorKind::Unknown, QString(), -1}));
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

TEST(ChatResult, AnErrorAssignedOverAChatReleasesTheChat)
{
    // The title shares its buffer with the chat inside the result; once the
    // chat is destroyed this copy is the only owner again.
    QString title = QString::fromUtf8("shared title"); // heap data: a literal is never detached
    ASSERT_TRUE(title.isDetached());
    Chat chat = sampleChat();
    chat.title = title;
    Result<Chat> result(std::move(chat));
    ASSERT_FALSE(title.isDetached());

    result = Error{ErrorKind::ServerError, QStringLiteral("down"), 503};
    ASSERT_FALSE(result.hasValue());
    EXPECT_EQ(result.error(), (Error{ErrorKind::ServerError, QStringLiteral("down"), 503}));
    EXPECT_TRUE(title.isDetached());
}

TEST(ChatResult, AChatAssignedOverAnErrorReleasesTheError)
{
    QString message = QString::fromUtf8("shared message");
    ASSERT_TRUE(message.isDetached());
    Result<Chat> result(Error{ErrorKind::Network, message, 7});
    ASSERT_FALSE(message.isDetached());

    const Chat chat = sampleChat();
    result = chat;
    ASSERT_TRUE(result.hasValue());
    expectSameChat(result.value(), sampleChat());
    EXPECT_TRUE(message.isDetached());
}

TEST(ChatResult, SwitchesBackAndForthAndAssignsTheHeldAlternative)
{
    Result<Chat> result;
    result = sampleChat();
    ASSERT_TRUE(result.hasValue());

    Chat other = sampleChat();
    other.title = QStringLiteral("second");
    other.version = 43;
    result = other;
    ASSERT_TRUE(result.hasValue());
    EXPECT_EQ(result.value().title, QStringLiteral("second"));
    EXPECT_EQ(result.value().version, 43);

    result = Error{ErrorKind::Auth, QStringLiteral("a"), 401};
    result = Error{ErrorKind::NotFound, QStringLiteral("b"), 404};
    ASSERT_FALSE(result.hasValue());
    EXPECT_EQ(result.error(), (Error{ErrorKind::NotFound, QStringLiteral("b"), 404}));

    result = sampleChat();
    ASSERT_TRUE(result.hasValue());
    expectSameChat(result.value(), sampleChat());
}

TEST(ChatResult, ReadingTheAlternativeNotHeldThrowsBadVariantAccess)
{
    Result<Chat> failed;
    EXPECT_THROW((void)failed.value(), std::bad_variant_access);
    EXPECT_THROW((void)std::as_const(failed).value(), std::bad_variant_access);
    EXPECT_NO_THROW((void)failed.error());

    Result<Chat> resolved(sampleChat());
    EXPECT_THROW((void)resolved.error(), std::bad_variant_access);
    EXPECT_THROW((void)std::as_const(resolved).error(), std::bad_variant_access);
    EXPECT_NO_THROW((void)resolved.value());
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
    EXPECT_EQ(result.error(), Error{});
    EXPECT_THROW((void)result.value(), std::bad_variant_access);

    result = TypeParam{};
    EXPECT_TRUE(result.hasValue());
    EXPECT_THROW((void)result.error(), std::bad_variant_access);

    result = notImplemented(QStringLiteral("op"));
    ASSERT_FALSE(result.hasValue());
    EXPECT_EQ(result.error().message, QStringLiteral("Not implemented: op"));
}

// ---------------------------------------------------------------- meta-types

class MetaTypeNameTest : public ::testing::TestWithParam<const char*>
{
};

TEST_P(MetaTypeNameTest, IsKnownByNameAfterRegistration)
{
    registerMetaTypes();
    registerMetaTypes(); // a second call must be harmless
    const QMetaType type = QMetaType::fromName(GetParam());
    EXPECT_TRUE(type.isValid()) << GetParam();
    EXPECT_STREQ(type.name(), GetParam());
}

INSTANTIATE_TEST_SUITE_P(
    EveryChatValue, MetaTypeNameTest,
    ::testing::Values("QuorvelChat::ChatKind", "QuorvelChat::ErrorKind", "QuorvelChat::Error",
                      "QuorvelChat::Unit", "QuorvelChat::Chat", "QuorvelChat::Message",
                      "QuorvelChat::MessagesPage", "QuorvelChat::Attachment",
                      "QuorvelChat::Draft", "QuorvelChat::ListMessagesRequest",
                      "QuorvelChat::MessageDraftRequest", "QuorvelChat::AttachmentUploadRequest",
                      "QuorvelChat::AttachmentDownloadRequest", "QuorvelChat::DraftSaveRequest",
                      "QuorvelChat::Result<QuorvelChat::Chat>",
                      "QuorvelChat::Result<QuorvelChat::MessagesPage>",
                      "QuorvelChat::Result<QuorvelChat::Message>",
                      "QuorvelChat::Result<QuorvelChat::Unit>",
                      "QuorvelChat::Result<QuorvelChat::Attachment>",
                      "QuorvelChat::Result<QuorvelChat::Draft>"));

TEST(ChatMetaTypes, NameLooksUpTheSameTypeAsTheCompiler)
{
    registerMetaTypes();
    EXPECT_EQ(QMetaType::fromName("QuorvelChat::Result<QuorvelChat::Chat>"),
              QMetaType::fromType<Result<Chat>>());
    EXPECT_EQ(QMetaType::fromName("QuorvelChat::Error"), QMetaType::fromType<Error>());
}

TEST(ChatMetaTypes, AResultSurvivesAVariantRoundTrip)
{
    registerMetaTypes();
    const QVariant carried = QVariant::fromValue(Result<Chat>(sampleChat()));
    EXPECT_STREQ(carried.metaType().name(), "QuorvelChat::Result<QuorvelChat::Chat>");
    ASSERT_TRUE(carried.canConvert<Result<Chat>>());
    const auto back = carried.value<Result<Chat>>();
    ASSERT_TRUE(back.hasValue());
    expectSameChat(back.value(), sampleChat());

    const QVariant failure =
        QVariant::fromValue(Result<Unit>(Error{ErrorKind::Auth, QStringLiteral("no"), 403}));
    const auto failed = failure.value<Result<Unit>>();
    ASSERT_FALSE(failed.hasValue());
    EXPECT_EQ(failed.error(), (Error{ErrorKind::Auth, QStringLiteral("no"), 403}));
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
    ASSERT_TRUE(QObject::connect(&sender, SIGNAL(produced(QuorvelChat::Result<QuorvelChat::Chat>)),
                                 &receiver, SLOT(take(QuorvelChat::Result<QuorvelChat::Chat>)),
                                 Qt::QueuedConnection));

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
