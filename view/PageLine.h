#pragma once

namespace QuorvelChat {

// The chat page's lines, top to bottom, as its layout holds them: the title,
// the build line, the status, the six fields of a chat, the dump's caption
// and the dump. The tests read the page by line with these.
enum PageLine : int
{
    Title,
    Build,
    Status,
    Id,
    Kind,
    ChatTitle,
    DefaultFlag,
    Version,
    StateKey,
    Caption,
    Dump,
};

// The six field lines, in their order.
inline constexpr int kFirstField = Id;
inline constexpr int kFieldCount = StateKey - Id + 1;

} // namespace QuorvelChat
