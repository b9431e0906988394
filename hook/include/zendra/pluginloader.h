#pragma once

#include <memory>

#include <QString>

#include <zendra/export.h>
#include <zendra/platformplugin.h>

struct xcb_connection_t;

namespace Zendra
{

/// A loaded platform plug-in, or the reason why there is none.
struct LoadedPlatform {
    std::unique_ptr<PlatformPlugin> plugin;
    QString errorText; ///< one sentence for a person; empty on success
};

/// Loads the platform plug-in `name` ("xlib") from the plug-in folder and calls its entry function.
/// A name with a slash is a file: "./libecho.so" or "./echo.so" has the entry function "echoPlatformPlugin".
///
/// Without a connection in `parameters`, a display that cannot be opened is refused here, and so is a Qt
/// application that does not run on X; a file without a display name is called without one. What the plug-in
/// throws while it starts, such as for a server that has gone away since, becomes the error text. The shared
/// object stays loaded until the process ends. The calling thread owns the plug-in and must run a Qt event
/// loop.
ZENDRA_EXPORT LoadedPlatform loadPlatform(const QString& name, const PlatformPluginParameters& parameters);

/// The folder that platform plug-ins are loaded from: the environment's ZENDRA_PLUGIN_PATH, else
/// "zendra/platforms" beside `libzendrahook`.
ZENDRA_EXPORT QString platformFolder();

/// A connection that shows whether a display can be opened.
///
/// It should last until the display is in use: a server resets when its last client leaves, and drops those
/// that connect in that moment.
class ZENDRA_EXPORT DisplayCheck
{
public:
    /// A null name means $DISPLAY.
    explicit DisplayCheck(const char* displayName);

    /// Empty if the display could be opened.
    const QString& errorText() const { return m_errorText; }

private:
    std::unique_ptr<xcb_connection_t, void (*)(xcb_connection_t*)> m_connection;
    QString m_errorText;
};

} // namespace Zendra
