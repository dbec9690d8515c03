#pragma once

namespace QuorvelTest {

// The chat view's lines as a person reads them top to bottom: title, build,
// status, the six fields, the dump's caption, the dump.
enum Line
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
    Dump
};

} // namespace QuorvelTest
