#pragma once

#include <QFunctionPointer>
#include <QString>

#include <zendra/export.h>

namespace Zendra
{

/// A function of a module, or an error text.
struct ModuleFunction {
    QFunctionPointer function = nullptr;
    QString errorText; ///< one sentence for a person; empty on success
};

/// The folder "zendra" beside libzendrahook, with the plug-ins and modules.
ZENDRA_EXPORT QString moduleRoot();

/// Loads the shared object `fileName`, which is never unloaded, and resolves `functionName`.
///
/// `kind` and `name` describe the module in error texts ("platform plug-in", "xlib").
ZENDRA_EXPORT ModuleFunction loadModuleFunction(
    const QString& kind, const QString& name, const QString& fileName, const char* functionName);

} // namespace Zendra
