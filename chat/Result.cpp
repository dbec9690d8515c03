#include "chat/Result.h"

namespace QuorvelChat {

Error notImplemented(const QString& operation)
{
    return Error{ErrorKind::NotImplemented, QStringLiteral("Not implemented: ") + operation, -1};
}

} // namespace QuorvelChat
