#pragma once

#include <QIcon>
#include <QString>

#include "VyxPlatformExport.h"

namespace qtHelpers::images {

// The host's icon of that name; a neutral placeholder for unknown names.
VYX_PLATFORM_EXPORT QIcon icon(const QString& name);

} // namespace qtHelpers::images
