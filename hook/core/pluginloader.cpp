#include <zendra/pluginloader.h>

#include "module.h"

namespace Zendra
{

QString platformFolder()
{
    const QString folder = qEnvironmentVariable("ZENDRA_PLUGIN_PATH");
    return folder.isEmpty() ? moduleRoot() + QStringLiteral("/platforms") : folder;
}

LoadedPlatform loadPlatform(const QString& name, const PlatformPluginParameters& parameters)
{
    const QString fileName = QStringLiteral("%1/%2.so").arg(platformFolder(), name);
    const QByteArray entryName = name.toUtf8() + "PlatformPlugin";
    const ModuleFunction module
        = loadModuleFunction(QStringLiteral("platform plug-in"), name, fileName, entryName.constData());
    if (!module.errorText.isEmpty())
        return {nullptr, module.errorText};

    // An application that hands over its connection, or a Qt application, has its display open already.
    if (parameters.display == nullptr && !parameters.isQtApplication) {
        const QString errorText = checkDisplay(parameters.displayName);
        if (!errorText.isEmpty())
            return {nullptr, errorText};
    }
    const auto entry = reinterpret_cast<PlatformPluginEntry>(module.function);
    const PlatformPluginResult result = entry(parameters);
    return {std::unique_ptr<PlatformPlugin>(result.plugin), result.errorText};
}

} // namespace Zendra
