#pragma once

#include <memory>

#include <QByteArray>
#include <QString>

#include <zendra/nativeinterface.h>
#include <zendra/platformplugin.h>
#include <zendra/widgethighlighter.h>

#include "screens.h"

namespace Zendra::Agent
{

enum class Variant {
    Qt,  ///< on the application's connection and event loop
    Pure ///< on a connection and event loop of its own
};

struct Caller;

/// The platform plug-in.
class Platform
{
public:
    Platform(Variant variant, QByteArray displayName);
    ~Platform();

    Variant variant() const { return m_variant; }
    QByteArray displayName() const { return m_displayName; }
    /// Loads the plug-in once; returns an error text.
    QString load();
    bool isLoaded() const { return m_plugin != nullptr; }

    // These need a loaded plug-in.
    NativeInterface& native() const { return *m_plugin->nativeInterface(); }
    WidgetHighlighter& highlighter() const { return *m_plugin->widgetHighlighter(); }
    /// The native interface for another thread, while this one is not used; null without a second connection.
    std::shared_ptr<NativeInterface> threadSafeCopy();
    Screens& screens() const { return *m_screens; }
    /// Applies a caller's setting.
    void setFlushSuppressed(bool suppressed);
    /// Waits until the server has processed all requests, and ends the suppression of flushing.
    void synchronize();
    void setHighlightOwner(const Caller* caller) { m_highlightOwner = caller; }
    /// Releases what belonged to a caller.
    void forget(const Caller* caller);

private:
    Q_DISABLE_COPY(Platform)

    Variant m_variant;
    QByteArray m_displayName;
    bool m_isFlushSuppressed = false;
    const Caller* m_highlightOwner = nullptr; ///< compared only
    std::unique_ptr<Screens> m_screens;
    std::unique_ptr<PlatformPlugin> m_plugin;
    std::shared_ptr<NativeInterface> m_copy;
};

} // namespace Zendra::Agent
