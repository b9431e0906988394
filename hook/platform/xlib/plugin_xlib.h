#pragma once

#include <zendra/platformplugin.h>

#include "highlighter_x11.h"
#include "nativeinterface_pure_xlib.h"
#include "nativeinterface_qt_xlib.h"

namespace Zendra
{

/// What both variants answer alike.
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

/// For all other applications: works on a connection of its own, which its thread's event loop closes some
/// time after the plug-in was deleted.
class PureXlibPlatformPlugin : public XlibPlatformPlugin
{
public:
    /// Takes the connection over.
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
