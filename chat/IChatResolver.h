#pragma once

#include "chat/ChatTypes.h"
#include "chat/Result.h"

namespace QuorvelChat {

// Finds "the chat to show". Called synchronously on a worker thread, possibly
// on several at once; must not throw for anything the service or the network
// can cause.
class IChatResolver
{
public:
    virtual ~IChatResolver() = default;
    virtual Result<Chat> resolve() = 0;
};

} // namespace QuorvelChat
