#pragma once

#include <QString>
#include <QtGlobal>

namespace QuorvelChat {

// The numbers are part of the contract: Unknown is last, not first, and is
// still what a default error carries.
enum class ErrorKind : qint32
{
    Network = 0,
    Auth = 1,
    NotFound = 2,
    Conflict = 3,
    Validation = 4,
    ServerError = 5,
    Canceled = 6,
    NotImplemented = 7,
    Unknown = 8,
};

// "Network", "Auth", … ; "?" for any other value.
QString errorKindText(ErrorKind kind);

} // namespace QuorvelChat
