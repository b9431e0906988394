#pragma once

#include <stdexcept>

#include "module.h"

namespace Zendra::Video
{

/// Looks a function up in the module `zendravideo`, which is loaded for it. Throws std::runtime_error.
template <typename Function>
Function videoModuleFunction(const char* name)
{
    const ModuleFunction found = loadModuleFunction(QStringLiteral("video module"),
        QStringLiteral("zendravideo"), moduleRoot() + QStringLiteral("/modules/zendravideo.so"), name);
    if (!found.errorText.isEmpty())
        throw std::runtime_error(found.errorText.toStdString());
    return reinterpret_cast<Function>(found.function);
}

} // namespace Zendra::Video
