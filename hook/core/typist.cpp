#include <zendra/typist.h>

#include "module.h"

namespace Zendra
{

Typist::~Typist() = default;

std::unique_ptr<Typist> Typist::connect(const QByteArray& displayName)
{
    const ModuleFunction found
        = loadModuleFunction(QStringLiteral("keyboard module"), QStringLiteral("zendrakeyboard"),
            moduleRoot() + QStringLiteral("/modules/zendrakeyboard.so"), "zendraTypist");
    using Factory = Typist* (*)(const QByteArray&);
    if (found.function == nullptr)
        return nullptr;
    return std::unique_ptr<Typist>(reinterpret_cast<Factory>(found.function)(displayName));
}

} // namespace Zendra
