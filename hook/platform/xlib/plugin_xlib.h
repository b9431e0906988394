#pragma once

#include <zendra/platformplugin.h>

#include "highlighter_x11.h"
#include "nativeinterface_pure_xlib.h"
#include "nativeinterface_qt_xlib.h"

namespace Zendra
{

/// The part that both variants share.
class XlibPlatformPlugin : public PlatformPlugin
{
public:
    QString name() const override;
    WindowManagerResult windowManager() override;
};

/// For Qt applications: works on the application's connection, which it neither owns nor closes.
class QtXlibPlatformPlugin : public XlibPlatformPlugin
{
public:
    explicit QtXlibPlatformPlugin(Display* display);
    ~QtXlibPlatformPlugin() override;
    NativeInterface* nativeInterface() override;
    WidgetHighlighter* widgetHighlighter() override;

private:
    QtXlibNativeInterface m_nativeInterface;
    X11WidgetHighlighter m_highlighter;
};

/// For all other applications: uses a private connection, which is closed by deferred deletion after the
/// plug-in.
class PureXlibPlatformPlugin : public XlibPlatformPlugin
{
public:
    /// Takes ownership of the connection.
    explicit PureXlibPlatformPlugin(Display* display);
    ~PureXlibPlatformPlugin() override;
    NativeInterface* nativeInterface() override;
    WidgetHighlighter* widgetHighlighter() override;

private:
    Xlib::XDisplayRef m_display;
    PureXlibNativeInterface m_nativeInterface;
    PureX11WidgetHighlighter m_highlighter;
};

} // namespace Zendra
