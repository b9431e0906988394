#include "displayinfo.h"

#include <algorithm>
#include <array>
#include <cmath>

#include <QList>

#include "rootproperty.h"

#include <X11/Xatom.h>
#include <X11/Xlib.h>

namespace Zendra::Runner
{

namespace
{

constexpr std::array<ExtensionInfo, 6> usedExtensions {{
    {"XTEST",
        "the pointer cannot be moved or its buttons pressed; keys are sent as events that many programs ignore"},
    {"XKEYBOARD", "keys are looked up in the core keyboard map, and the state of the modifiers is unknown"},
    {"RANDR", "the resolution is taken from the first size that the server named"},
    {"DAMAGE", "screen recording"},
    {"XFIXES", "screen recording"},
    {"MIT-SHM", "screen recording"},
}};

/// The major request number of an extension; 0 when the server lacks it.
int majorRequestOf(Display* display, const char* name)
{
    int majorRequest = 0;
    int firstEvent = 0;
    int firstError = 0;
    const bool isPresent = XQueryExtension(display, name, &majorRequest, &firstEvent, &firstError) != False;
    return isPresent ? majorRequest : 0;
}

ScreenInfo readScreen(Display* display, int number)
{
    ScreenInfo screen;
    screen.width = DisplayWidth(display, number);
    screen.height = DisplayHeight(display, number);
    screen.depth = DefaultDepth(display, number);
    const int millimetres = DisplayWidthMM(display, number);
    if (millimetres > 0)
        screen.dpi = static_cast<int>(std::lround(screen.width * 25.4 / millimetres));
    return screen;
}

/// The strings of the root window's _XKB_RULES_NAMES: rules, model, layout, variant, options.
QList<QByteArray> readKeyboardRules(Display* display)
{
    const QByteArray names = readRootProperty(display, "_XKB_RULES_NAMES");
    return names.isEmpty() ? QList<QByteArray>() : names.split('\0');
}

/// Sets the scale as the plug-in does: the last valid line wins.
void readScale(Display* display, DisplayInfo& info)
{
    const QByteArray prefix("Xft.dpi:\t");
    const QList<QByteArray> lines = QByteArray(XResourceManagerString(display)).split('\n');
    for (const QByteArray& line : lines) {
        bool isNumber = false;
        const double dpi = line.startsWith(prefix) ? line.mid(prefix.size()).toDouble(&isNumber) : 0.0;
        if (isNumber) {
            info.hasScale = true;
            info.scale = dpi / 96.0;
        }
    }
}

} // namespace

DisplayInfo readDisplayInfo(const ConnectionPointer& connection)
{
    Display* display = connection.get();
    DisplayInfo info;
    info.name = QString::fromLocal8Bit(DisplayString(display));
    info.vendor = QString::fromLocal8Bit(ServerVendor(display));
    info.release = VendorRelease(display);
    for (int number = 0; number < ScreenCount(display); ++number)
        info.screens.push_back(readScreen(display, number));
    for (ExtensionInfo extension : usedExtensions) {
        extension.isPresent = majorRequestOf(display, extension.name) != 0;
        info.extensions.push_back(extension);
    }
    const QList<QByteArray> rules = readKeyboardRules(display);
    info.model = QString::fromLatin1(rules.value(1));
    info.layout = QString::fromLatin1(rules.value(2));
    info.variant = QString::fromLatin1(rules.value(3));
    readScale(display, info);
    return info;
}

QByteArray extensionName(const ConnectionPointer& connection, int majorRequest)
{
    const auto* extension
        = std::find_if(usedExtensions.begin(), usedExtensions.end(), [&](const ExtensionInfo& candidate) {
              return majorRequestOf(connection.get(), candidate.name) == majorRequest;
          });
    return extension != usedExtensions.end() ? QByteArray(extension->name) : QByteArray();
}

} // namespace Zendra::Runner
