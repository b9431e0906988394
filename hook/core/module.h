#pragma once

#include <QFunctionPointer>
#include <QString>

#include <zendra/export.h>

namespace Zendra
{

/// A function out of a module, or the reason why there is none.
struct ModuleFunction {
    QFunctionPointer function = nullptr;
    QString errorText; ///< one sentence for a person; empty on success
};

/// The folder "zendra" beside libzendrahook, which plug-ins and modules lie in.
ZENDRA_EXPORT QString moduleRoot();

/// Loads the shared object `fileName`, once a process and for good, and looks `functionName` up in it.
///
/// `kind` and `name` describe the module in error texts ("platform plug-in", "xlib").
ZENDRA_EXPORT ModuleFunction loadModuleFunction(
    const QString& kind, const QString& name, const QString& fileName, const char* functionName);

} // namespace Zendra
