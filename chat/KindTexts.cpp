#include "chat/ChatKind.h"
#include "chat/ErrorKind.h"

namespace QuorvelChat {

QString chatKindText(ChatKind kind)
{
    switch (kind) {
    case ChatKind::Unknown: return QStringLiteral("Unknown");
    case ChatKind::BusinessTicket: return QStringLiteral("BusinessTicket");
    case ChatKind::Subject: return QStringLiteral("Subject");
    case ChatKind::UserProfile: return QStringLiteral("UserProfile");
    }
    return QStringLiteral("?");
}

QString errorKindText(ErrorKind kind)
{
    switch (kind) {
    case ErrorKind::Network: return QStringLiteral("Network");
    case ErrorKind::Auth: return QStringLiteral("Auth");
    case ErrorKind::NotFound: return QStringLiteral("NotFound");
    case ErrorKind::Conflict: return QStringLiteral("Conflict");
    case ErrorKind::Validation: return QStringLiteral("Validation");
    case ErrorKind::ServerError: return QStringLiteral("ServerError");
    case ErrorKind::Canceled: return QStringLiteral("Canceled");
    case ErrorKind::NotImplemented: return QStringLiteral("NotImplemented");
    case ErrorKind::Unknown: return QStringLiteral("Unknown");
    }
    return QStringLiteral("?");
}

} // namespace QuorvelChat
