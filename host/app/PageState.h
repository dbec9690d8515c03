#pragma once

// How a page tells this host where it stands, for its probes
// (`vyx-host --print-view`) and their exit code: dynamic properties that any
// widget of the page may set to true. A page that sets none is taken as
// settled once its texts stop changing, and as having succeeded. The names
// are this host's convention, not part of the platform a plug-in builds
// against: a page sets them by name.
namespace Vyx::PageState {

// The page is waiting for something (a reply, say): what it shows is not
// its final state, however long it stays the same.
inline constexpr char kBusy[] = "vyxBusy";
// What the page shows is a failure.
inline constexpr char kFailed[] = "vyxFailed";

} // namespace Vyx::PageState
