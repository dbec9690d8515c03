#pragma once

#include <QList>
#include <QString>
#include <QUuid>

namespace QuorvelChat {

struct ListMessagesRequest
{
    QUuid chatId;
    QString cursor;
    qint32 limit = 0;
    qint32 direction = 0;
};

struct MessageDraftRequest
{
    QUuid chatId;
    QString text;
    QString format;
    QList<QUuid> attachmentIds;
    QUuid replyToId;
    // Lets the service recognise a resent post.
    qint64 clientNonce = 0;
};

struct AttachmentUploadRequest
{
    QUuid chatId;
    QString filePath;
    QString fileName;
    QString mimeType;
};

struct AttachmentDownloadRequest
{
    QUuid chatId;
    QUuid attachmentId;
};

struct DraftSaveRequest
{
    QUuid chatId;
    QString text;
    QString format;
};

} // namespace QuorvelChat
