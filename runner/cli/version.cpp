#include "version.h"

#include <QDir>
#include <QJsonArray>

#include <buildinfo.h>
#include <module.h>

namespace Zendra::Runner
{

namespace
{

/// The names of the libraries in a folder, without their file extension.
QJsonArray libraryNames(const QString& folder)
{
    QJsonArray names;
    for (const QFileInfo& file :
        QDir(folder).entryInfoList({QStringLiteral("*.so")}, QDir::Files, QDir::Name))
        names.append(file.completeBaseName());
    return names;
}

} // namespace

QJsonObject versionDetails()
{
    QJsonObject libraries;
    for (const auto& library : BuildInfo::libraries) {
        if (library[1][0] != '\0')
            libraries.insert(QLatin1String(library[0]), QLatin1String(library[1]));
    }
    const QString folder = QDir::cleanPath(moduleRoot());
    return {{QStringLiteral("version"), QLatin1String(BuildInfo::version)},
        {QStringLiteral("abi"), QLatin1String(BuildInfo::abi)},
        {QStringLiteral("compiler"), QLatin1String(BuildInfo::compiler)},
        {QStringLiteral("buildType"), QLatin1String(BuildInfo::buildType)},
        {QStringLiteral("builtWith"), libraries}, {QStringLiteral("qtRunning"), QLatin1String(qVersion())},
        {QStringLiteral("folder"), folder},
        {QStringLiteral("modules"), libraryNames(folder + QStringLiteral("/modules"))},
        {QStringLiteral("platforms"), libraryNames(folder + QStringLiteral("/platforms"))}};
}

} // namespace Zendra::Runner
