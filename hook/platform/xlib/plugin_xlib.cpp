#include "plugin_xlib.h"

#include <QGuiApplication>
#include <qpa/qplatformnativeinterface.h>

#include <X11/Xlib.h>

namespace Zendra
{

namespace
{

/// Deliberate: the result is not checked; the native interface refuses a null connection.
Display* applicationDisplay()
{
    QPlatformNativeInterface* native = QGuiApplication::platformNativeInterface();
    return static_cast<Display*>(
        native->nativeResourceForWindow(QByteArrayLiteral("display"), static_cast<QWindow*>(nullptr)));
}

Display* openPrivateConnection(const PlatformPluginParameters& parameters)
{
    Display* display = XOpenDisplay(
        parameters.display != nullptr ? XDisplayString(parameters.display) : parameters.displayName);
    // Deliberate: the object is abandoned and the null connection passed on. XDisplay refuses it, where the
    // host had been able to open the display a moment before.
    if (display == nullptr)
        new NullPlatformPlugin(QStringLiteral("Failed opening Xlib display"));
    return display;
}

} // namespace

QString XlibPlatformPlugin::name() const
{
    return QStringLiteral("xlib");
}

WindowManagerResult XlibPlatformPlugin::windowManager()
{
    return {nullptr, {}};
}

QtXlibPlatformPlugin::QtXlibPlatformPlugin(Display* display)
    : m_nativeInterface(display)
    , m_highlighter(display)
{
}

QtXlibPlatformPlugin::~QtXlibPlatformPlugin() = default;

NativeInterface* QtXlibPlatformPlugin::nativeInterface()
{
    return &m_nativeInterface;
}

WidgetHighlighter* QtXlibPlatformPlugin::widgetHighlighter()
{
    return &m_highlighter;
}

PureXlibPlatformPlugin::PureXlibPlatformPlugin(Display* display)
    : m_display(new Xlib::XDisplay(display))
    , m_nativeInterface(m_display.get())
    , m_highlighter(m_display.get())
{
}

PureXlibPlatformPlugin::~PureXlibPlatformPlugin() = default;

NativeInterface* PureXlibPlatformPlugin::nativeInterface()
{
    return &m_nativeInterface;
}

WidgetHighlighter* PureXlibPlatformPlugin::widgetHighlighter()
{
    return &m_highlighter;
}

} // namespace Zendra

extern "C" Q_DECL_EXPORT Zendra::PlatformPluginResult xlibPlatformPlugin(
    const Zendra::PlatformPluginParameters& parameters);

Zendra::PlatformPluginResult xlibPlatformPlugin(const Zendra::PlatformPluginParameters& parameters)
{
    using namespace Zendra;
    if (parameters.isQtApplication) {
        return {new QtXlibPlatformPlugin(
                    parameters.display != nullptr ? parameters.display : applicationDisplay()),
            {}};
    }
    return {new PureXlibPlatformPlugin(openPrivateConnection(parameters)), {}};
}
