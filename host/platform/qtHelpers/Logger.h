#pragma once

#include <QDebug>
#include <QLoggingCategory>

#include "VyxPlatformExport.h"

namespace qtHelpers {

// The category under which the chat plug-in logs.
VYX_PLATFORM_EXPORT const QLoggingCategory& chat();

// A message stream of the given type under `category`. Messages whose
// verbosity exceeds the host's current verbosity are dropped, as are those
// of a disabled category or type.
VYX_PLATFORM_EXPORT QDebug logger(QtMsgType type, const QLoggingCategory& category, int verbosity = 0);

VYX_PLATFORM_EXPORT int verbosity();
VYX_PLATFORM_EXPORT void setVerbosity(int level);

} // namespace qtHelpers
