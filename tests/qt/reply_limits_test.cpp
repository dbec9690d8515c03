// The network service's limits against servers that misbehave on the wire:
// replies too large, announced or streamed, and exchanges that stop moving.
// Slow replies that keep moving must come through whole.
#include <gtest/gtest.h>

#include <QNetworkReply>
#include <QPointer>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

#include "transport_fixture.h"

namespace QuorvelTest {
namespace {

// Answers every connection with `head`, then `pieces` pieces of `piece`
// bytes, one every `everyMs` (0: as fast as the socket drains; -1 pieces:
// until the client hangs up, at most 64 MiB). The pieces are written as
// they are: a test that wants chunked encoding puts the framing in them.
class StreamingServer : public QTcpServer
{
public:
    QByteArray head;
    QByteArray piece;
    int pieces = 0;
    int everyMs = 0;

    quint16 start() { return listen(QHostAddress::LocalHost, 0) ? serverPort() : 0; }

protected:
    void incomingConnection(qintptr handle) override
    {
        auto* socket = new QTcpSocket(this);
        socket->setSocketDescriptor(handle);
        // The request is not looked at: whatever came, the script is sent.
        connect(socket, &QTcpSocket::readyRead, socket, [this, socket] {
            socket->readAll();
            if (socket->property("answered").toBool())
                return;
            socket->setProperty("answered", true);
            socket->write(head);
            sendPieces(socket, pieces);
        });
    }

private:
    void sendPieces(QTcpSocket* socket, int left)
    {
        constexpr qint64 kMaxStreamed = 64LL * 1024 * 1024;
        QPointer<QTcpSocket> guarded(socket);
        if (left == 0 || socket->state() != QAbstractSocket::ConnectedState
            || (pieces < 0 && socket->property("sent").toLongLong() > kMaxStreamed))
            return;
        socket->write(piece);
        socket->setProperty("sent", socket->property("sent").toLongLong() + piece.size());
        QTimer::singleShot(everyMs, this, [this, guarded, left] {
            if (guarded)
                sendPieces(guarded, left < 0 ? left : left - 1);
        });
    }
};

QByteArray chunk(qsizetype size)
{
    return QByteArray::number(size, 16) + "\r\n" + QByteArray(size, 'x') + "\r\n";
}

struct LimitRow
{
    const char* name;
    QuorvelSdk::HttpLimits limits;
    QByteArray head;
    QByteArray piece;
    int pieces;
    int everyMs;
    qint32 result;
    std::size_t bodyBytes;
    // In the one warning the exchange logs; empty: none is logged.
    const char* logged;
};

void PrintTo(const LimitRow& row, std::ostream* out)
{
    *out << row.name;
}

constexpr qint64 kLimit = 64 * 1024;
const QByteArray kFixedHead = "HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\nContent-Length: ";
const QByteArray kChunkedHead = "HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\n"
                                "Transfer-Encoding: chunked\r\n\r\n";

const LimitRow kRows[] = {
    {"BodyOfExactlyTheLimitArrivesWhole",
     {kLimit, 0},
     kFixedHead + QByteArray::number(kLimit) + "\r\n\r\n",
     QByteArray(kLimit / 4, 'x'),
     4,
     0,
     0,
     std::size_t(kLimit),
     ""},
    {"AnnouncedLengthOverTheLimitIsRefusedBeforeTheBody",
     {kLimit, 0},
     kFixedHead + QByteArray::number(kLimit + 1) + "\r\n\r\n",
     QByteArray(kLimit + 1, 'x'),
     1,
     0,
     QNetworkReply::UnknownContentError,
     0,
     "announces"},
    {"EndlessChunkedBodyIsCutAtTheLimit",
     {kLimit, 0},
     kChunkedHead,
     chunk(16 * 1024).repeated(64),
     -1,
     0,
     QNetworkReply::UnknownContentError,
     0,
     "larger than the limit"},
    {"SilentServerEndsAfterTheInactivityLimit",
     {kLimit, 300},
     {},
     {},
     0,
     0,
     QNetworkReply::TimeoutError,
     0,
     "no data for 300 ms"},
    {"EndlessHeaderLineEndsAfterTheInactivityLimit",
     {kLimit, 300},
     "HTTP/1.1 200 OK\r\nX-Endless: " + QByteArray(100, 'x'),
     QByteArray(1000, 'x'),
     3,
     0,
     QNetworkReply::TimeoutError,
     0,
     "no data for"},
    // Ten times the pause between pieces: only a stop, never slowness, ends it.
    {"SlowReplyThatKeepsSendingIsNeverCut",
     {kLimit, 1500},
     kFixedHead + "80\r\n\r\n",
     QByteArray(8, 'x'),
     10,
     150,
     0,
     80,
     ""},
};

class ReplyLimits : public TransportTest, public ::testing::WithParamInterface<LimitRow>
{
protected:
    StreamingServer streaming;
};

TEST_P(ReplyLimits, EndTheExchangeAsTheRowSays)
{
    const LimitRow& row = GetParam();
    streaming.head = row.head;
    streaming.piece = row.piece;
    streaming.pieces = row.pieces;
    streaming.everyMs = row.everyMs;
    const quint16 port = streaming.start();
    ASSERT_NE(port, 0);
    service->setLimits(row.limits);

    LogCapture log;
    const Exchange e = send("GET", "http://127.0.0.1:" + std::to_string(port) + "/stream");

    EXPECT_EQ(e.result, row.result);
    EXPECT_EQ(e.response.body.size(), row.bodyBytes);
    if (row.result != 0) {
        EXPECT_EQ(e.response.status, 0u) << "a failed exchange hands nothing on";
        EXPECT_LT(e.response.body.capacity(), std::size_t(kLimit)) << "its memory is freed";
    }
    const QString logged = QString::fromLatin1(row.logged);
    EXPECT_EQ(log.count(QStringLiteral("QtHttpNetworkService")), logged.isEmpty() ? 0 : 1)
        << log.messages().join('\n').toStdString();
    if (!logged.isEmpty()) {
        EXPECT_EQ(log.count(logged), 1) << log.messages().join('\n').toStdString();
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, ReplyLimits, ::testing::ValuesIn(kRows),
                         [](const auto& info) { return std::string(info.param.name); });

} // namespace
} // namespace QuorvelTest
