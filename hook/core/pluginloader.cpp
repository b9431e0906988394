#include <zendra/pluginloader.h>

#include <exception>
#include <optional>

#include <QFileInfo>
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

struct PluginFile {
    QString path;
    QString name;           ///< of the plug-in, as in its entry function
    bool isForeign = false; ///< given by its path; it may need no X display
};

PluginFile findPlugin(const QString& name)
{
    if (!name.contains(QLatin1Char('/')))
        return {QStringLiteral("%1/%2.so").arg(platformFolder(), name), name, false};
    QString baseName = QFileInfo(name).completeBaseName();
    if (baseName.startsWith(QLatin1String("lib")))
        baseName.remove(0, 3);
    return {name, baseName, true};
}

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
    const PluginFile file = findPlugin(name);
    const QByteArray entryName = file.name.toUtf8() + "PlatformPlugin";
    const ModuleFunction module
        = loadModuleFunction(QStringLiteral("platform plug-in"), file.name, file.path, entryName.constData());
    if (!module.errorText.isEmpty())
        return {nullptr, module.errorText};

    std::optional<DisplayCheck> check;
    const bool needsNoDisplay = file.isForeign && parameters.displayName == nullptr;
    const QString refusal = needsNoDisplay ? QString() : refuse(parameters, check);
    if (!refusal.isEmpty())
        return {nullptr, refusal};
    const auto entry = reinterpret_cast<PlatformPluginEntry>(module.function);
    try {
        const PlatformPluginResult result = entry(parameters);
        return {std::unique_ptr<PlatformPlugin>(result.plugin), result.errorText};
    } catch (const std::exception& error) {
        return {nullptr,
            QStringLiteral("The platform plug-in '%1' cannot start: %2")
                .arg(file.name, QString::fromUtf8(error.what()))};
    }
}

} // namespace Zendra
