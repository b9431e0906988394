#pragma once

#include <QString>

#include <zendra/export.h>

struct _XDisplay;

namespace Zendra
{

class NativeInterface;
class WidgetHighlighter;
class WindowManager;

/// A platform's window manager service, or null where the platform has none.
struct WindowManagerResult {
    WindowManager* windowManager = nullptr; ///< stays the plug-in's
    QString errorText;
};

/// What a platform plug-in offers. The services belong to the plug-in and live as long as it.
class ZENDRA_EXPORT PlatformPlugin
{
public:
    PlatformPlugin() = default;
    virtual ~PlatformPlugin();
    virtual QString name() const = 0;
    virtual NativeInterface* nativeInterface() = 0;
    virtual WidgetHighlighter* widgetHighlighter() = 0;
    virtual WindowManagerResult windowManager() = 0;

private:
    Q_DISABLE_COPY(PlatformPlugin)
};

/// Placeholder for a platform that could not be loaded: has no services, and the reason.
class ZENDRA_EXPORT NullPlatformPlugin : public PlatformPlugin
{
public:
    explicit NullPlatformPlugin(const QString& errorText);
    ~NullPlatformPlugin() override;
    QString name() const override;
    NativeInterface* nativeInterface() override;
    WidgetHighlighter* widgetHighlighter() override;
    WindowManagerResult windowManager() override;
    const QString& errorText() const { return m_errorText; }

private:
    QString m_errorText;
};

/// The arguments of a plug-in's entry function.
struct PlatformPluginParameters {
    const char* displayName = nullptr; ///< display to open when `display` is null; null leaves it to DISPLAY
    _XDisplay* display = nullptr;      ///< the application's own X connection, or null
    bool isQtApplication = false;      ///< whether the application runs a Qt GUI event loop
};

/// The result of a plug-in's entry function.
struct PlatformPluginResult {
    PlatformPlugin* plugin = nullptr; ///< the host owns and deletes it
    QString errorText;
};

/// The signature of the entry function that a plug-in exports with C linkage as "<name>PlatformPlugin".
using PlatformPluginEntry = PlatformPluginResult (*)(const PlatformPluginParameters&);

} // namespace Zendra
