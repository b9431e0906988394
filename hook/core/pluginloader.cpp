#include <zendra/pluginloader.h>

#include <exception>
#include <optional>

#include <QGuiApplication>

#include "module.h"

namespace Zendra
{

QString platformFolder()
{
    const QString folder = qEnvironmentVariable("ZENDRA_PLUGIN_PATH");
    return folder.isEmpty() ? moduleRoot() + QStringLiteral("/platforms") : folder;
}

namespace
{

/// Why the plug-in cannot connect, as far as is known beforehand.
QString refuse(const PlatformPluginParameters& parameters, std::optional<DisplayCheck>& check)
{
    // The application has its display open.
    if (parameters.display != nullptr)
        return {};
    if (!parameters.isQtApplication)
        return check.emplace(parameters.displayName).errorText();
    const QString qtPlatform = QGuiApplication::platformName();
    if (qtPlatform == QLatin1String("xcb"))
        return {};
    return QStringLiteral("The Qt application runs on the Qt platform '%1', not on X (xcb)").arg(qtPlatform);
}

} // namespace

LoadedPlatform loadPlatform(const QString& name, const PlatformPluginParameters& parameters)
{
    const QString fileName = QStringLiteral("%1/%2.so").arg(platformFolder(), name);
    const QByteArray entryName = name.toUtf8() + "PlatformPlugin";
    const ModuleFunction module
        = loadModuleFunction(QStringLiteral("platform plug-in"), name, fileName, entryName.constData());
    if (!module.errorText.isEmpty())
        return {nullptr, module.errorText};

    std::optional<DisplayCheck> check;
    const QString refusal = refuse(parameters, check);
    if (!refusal.isEmpty())
        return {nullptr, refusal};
    const auto entry = reinterpret_cast<PlatformPluginEntry>(module.function);
    try {
        const PlatformPluginResult result = entry(parameters);
        return {std::unique_ptr<PlatformPlugin>(result.plugin), result.errorText};
    } catch (const std::exception& error) {
        return {nullptr,
            QStringLiteral("The platform plug-in '%1' cannot start: %2")
                .arg(name, QString::fromUtf8(error.what()))};
    }
}

} // namespace Zendra
