#pragma once

#include <memory>

#include <QByteArray>
#include <QString>

#include <zendra/nativeinterface.h>
#include <zendra/platformplugin.h>
#include <zendra/widgethighlighter.h>

namespace Zendra::Agent
{

enum class Variant {
    Qt,  ///< the application's own connection and event loop
    Pure ///< ones of the hook's own
};

struct Caller;

/// The platform plug-in, loaded when it is first needed.
class Platform
{
public:
    Platform(Variant variant, QByteArray displayName);
    ~Platform();

    Variant variant() const { return m_variant; }
    QByteArray displayName() const { return m_displayName; }
    /// Returns an error text. After a failure the next call tries again.
    QString load();
    bool isLoaded() const { return m_plugin != nullptr; }

    // These need a plug-in that is loaded.
    NativeInterface& native() const { return *m_plugin->nativeInterface(); }
    WidgetHighlighter& highlighter() const { return *m_plugin->widgetHighlighter(); }
    /// The native interface for another thread, while this one is not used; null where there can be none.
    std::shared_ptr<NativeInterface> threadSafeCopy();
    int screenCount() const { return m_screenCount; }
    /// Makes the setting that belongs to a caller that of the connection.
    void setFlushSuppressed(bool suppressed);
    /// Waits until the server has carried everything out. Flushing is no longer held back then.
    void synchronize();
    /// Notes who shows the frame.
    void setHighlightOwner(const Caller* caller) { m_highlightOwner = caller; }
    /// Takes away what the caller leaves behind.
    void forget(const Caller* caller);

private:
    Q_DISABLE_COPY(Platform)

    Variant m_variant;
    QByteArray m_displayName;
    int m_screenCount = 0;
    bool m_isFlushSuppressed = false;
    const Caller* m_highlightOwner = nullptr; ///< compared only
    std::unique_ptr<PlatformPlugin> m_plugin;
    std::shared_ptr<NativeInterface> m_copy;
};

} // namespace Zendra::Agent
