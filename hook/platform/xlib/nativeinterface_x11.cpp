#include "nativeinterface_x11.h"

#include <exception>

#include "nativeinterface_pure_xlib.h"
#include "xdisplay_xlib.h"

#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>

namespace Zendra
{

const QString XTEST_MISSING = QStringLiteral("XTest extension is missing on the display");

namespace
{

/// Milliseconds that the application gets to react to a button or key.
constexpr int reactionTime = 40;

/// X key codes are evdev key codes plus 8.
constexpr unsigned int evdevOffset = 8;

KeyMap* createKeyMap(Display* display)
{
    try {
        int opcode = 0;
        int event = 0;
        int error = 0;
        int major = 1;
        int minor = 0;
        if (XkbQueryExtension(display, &opcode, &event, &error, &major, &minor) != False)
            return new XkbKeyMap(display);
        return new X11KeyMap(display);
    } catch (const std::exception& error) {
        return new NullKeyMap(QString::fromUtf8(error.what()));
    }
}

/// The factor of the last readable "Xft.dpi" line of the X resources; 1.0 is 96 dots per inch.
double readScaleFactor(Display* display)
{
    static const QString prefix = QStringLiteral("Xft.dpi:\t");
    double scaleFactor = 1.0;
    const QStringList lines = QString::fromLocal8Bit(XResourceManagerString(display))
                                  .split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    for (const QString& line : lines) {
        if (!line.startsWith(prefix))
            continue;
        bool isNumber = false;
        const double dpi = line.mid(prefix.size()).toDouble(&isNumber);
        if (isNumber)
            scaleFactor = dpi / 96.0;
    }
    return scaleFactor;
}

} // namespace

X11NativeInterface::X11NativeInterface(Display* display)
    : m_display(Xlib::requireConnection(display))
    , m_keyMap(createKeyMap(display))
    , m_scaleFactor(readScaleFactor(display))
{
}

X11NativeInterface::X11NativeInterface(Display* display, KeyMap* keyMap, double scaleFactor)
    : m_display(display)
    , m_keyMap(keyMap)
    , m_scaleFactor(scaleFactor)
{
}

X11NativeInterface::~X11NativeInterface() = default;

QList<NativeInterface::Capability> X11NativeInterface::getCapabilities()
{
    return {capKeycodeSupport};
}

QString X11NativeInterface::keyCode(
    unsigned int code, unsigned int /*scanCode*/, NativeKeyCodeSet /*set*/, bool press)
{
    if (!haveXTest())
        return XTEST_MISSING;
    return nativeKeyCode(code + evdevOffset, press);
}

QString X11NativeInterface::nativeKeyCode(unsigned int keyCode, bool press)
{
    XTestFakeKeyEvent(m_display, keyCode, press ? True : False, 0);
    flush();
    return {};
}

bool X11NativeInterface::isModifierPressed(ModifierKey key)
{
    XkbStateRec state {};
    if (XkbGetState(m_display, XkbUseCoreKbd, &state) != Success)
        return false;
    switch (key) {
    case ShiftModifier:
        return (state.mods & ShiftMask) != 0;
    case ControlModifier:
        return (state.mods & ControlMask) != 0;
    case AltModifier:
        return (state.mods & Mod1Mask) != 0;
    default:
        return false;
    }
}

NativeInterface* X11NativeInterface::threadSafeCopy()
{
    // Deliberate: this connection is never closed.
    Display* connection = XOpenDisplay(DisplayString(m_display));
    if (connection == nullptr)
        return nullptr;
    return new PureXlibNativeInterface(connection, m_keyMap.get(), m_scaleFactor);
}

bool X11NativeInterface::supressFlush(bool suppress)
{
    const bool previous = m_flushSuppressed;
    m_flushSuppressed = suppress;
    // The end of a batch: wait until the server has processed it.
    if (!suppress)
        XSync(m_display, False);
    return previous;
}

bool X11NativeInterface::haveXTest() const
{
    int eventBase = 0;
    int errorBase = 0;
    int major = 0;
    int minor = 0;
    return XTestQueryExtension(m_display, &eventBase, &errorBase, &major, &minor) != False;
}

void X11NativeInterface::flush()
{
    if (!m_flushSuppressed)
        XFlush(m_display);
}

void X11NativeInterface::fakeMotion(int x, int y, int waitMs)
{
    XTestFakeMotionEvent(m_display, -1, x, y, 0);
    processEvents(waitMs);
}

void X11NativeInterface::fakeButton(int xButton, bool press)
{
    XTestFakeButtonEvent(m_display, static_cast<unsigned int>(xButton), press ? True : False, 0);
    processEvents(reactionTime);
}

void X11NativeInterface::fakeKey(int keyCode, bool press)
{
    XTestFakeKeyEvent(m_display, static_cast<unsigned int>(keyCode), press ? True : False, 0);
    processEvents(reactionTime);
}

} // namespace Zendra
