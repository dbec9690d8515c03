#pragma once

#include <QDateTime>
#include <QList>
#include <QString>
#include <QUuid>

#include "chat/ChatKind.h"

namespace QuorvelChat {

// A resolved conversation. The aux fields are reserved for later producers
// and stay empty here; they are kept so that filling them changes no layout.
struct Chat
{
    QUuid id;
    ChatKind kind = ChatKind::Unknown;
    QString title;
    QString auxText;
    QString businessId;
    QString stateKey;
    QDateTime auxTime1;
    QDateTime auxTime2;
    bool isDefaultChannel = false;
    qint64 version = 0;
    // Multi-line rendering of the backing entity, for diagnosis.
    QString rawDump;
};

struct Attachment
{
    QUuid id;
    QString fileName;
    QString mimeType;
    qint64 size = 0;
    QString localPath;
};

struct Message
{
    QUuid id;
    QUuid chatId;
    QUuid authorId;
    QString text;
    QString authorName;
    QDateTime createdAt;
    QDateTime editedAt;
    QList<QUuid> attachmentIds;
    QList<QUuid> mentionedIds;
    QUuid replyToId;
    qint32 revision = 0;
    qint32 flags = 0;
    QString format;
    QDateTime readAt;
    qint64 sequence = 0;
};

// One page of a chat's messages and where the next one starts.
struct MessagesPage
{
    QList<Message> messages;
    QString nextCursor;
    bool hasMore = false;
};

struct Draft
{
    QUuid chatId;
    QString text;
    QDateTime savedAt;
};

} // namespace QuorvelChat
