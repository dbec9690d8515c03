#pragma once

#include <QtCore/qglobal.h>

#if defined(VYX_PLATFORM_LIBRARY)
#define VYX_PLATFORM_EXPORT Q_DECL_EXPORT
#else
#define VYX_PLATFORM_EXPORT Q_DECL_IMPORT
#endif
