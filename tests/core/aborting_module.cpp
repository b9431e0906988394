// A platform plug-in that must never be called.

#include <cstdlib>

#include <zendra/platformplugin.h>

extern "C" Q_DECL_EXPORT Zendra::PlatformPluginResult abortingPlatformPlugin(
    const Zendra::PlatformPluginParameters&)
{
    std::abort();
}
