#pragma once

#include <QString>
#include <QtGlobal>

namespace QuorvelChat {

// What a chat hangs on.
enum class ChatKind : qint32
{
    Unknown = 0,
    BusinessTicket = 1,
    Subject = 2,
    UserProfile = 3,
};

// "Unknown", "BusinessTicket", … ; "?" for any other value.
QString chatKindText(ChatKind kind);

} // namespace QuorvelChat
