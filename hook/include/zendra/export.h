#pragma once

#include <QtCore/qglobal.h>

/// Marks what `libzendrahook` offers to plug-ins, modules and runners.
#ifdef ZENDRA_BUILDING_HOOK
#define ZENDRA_EXPORT Q_DECL_EXPORT
#else
#define ZENDRA_EXPORT Q_DECL_IMPORT
#endif
