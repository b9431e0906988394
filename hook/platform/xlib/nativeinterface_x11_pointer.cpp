#include "nativeinterface_x11.h"

#include "pointer_x11.h"

#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>

namespace Zendra
{

namespace
{

constexpr unsigned int wheelUp = Button4;
constexpr unsigned int wheelDown = Button5;

// The delays of a simple drag, in milliseconds; the server waits before each event.
constexpr unsigned long modifierPressDelay = 1;
constexpr unsigned long buttonPressDelay = 3;
constexpr unsigned long motionDelay = 20;
constexpr unsigned long buttonReleaseDelay = 25;
constexpr unsigned long modifierReleaseDelay = 30;
constexpr int dragSettleTime = 40;

} // namespace

X11Button toX11Button(MouseButton::Value value)
{
    switch (value) {
    case MouseButton::Left:
    case MouseButton::Primary:
        return {Button1, {}};
    case MouseButton::Middle:
        return {Button2, {}};
    case MouseButton::Right:
    case MouseButton::Secondary:
        return {Button3, {}};
    case MouseButton::Back:
        return {8, {}};
    case MouseButton::Forward:
        return {9, {}};
    }
    static const QString unsupported = QStringLiteral("Unsupported mouse button value: %1");
    return {0, unsupported.arg(static_cast<int>(value))};
}

QString X11NativeInterface::pointerMove(Point position)
{
    if (!haveXTest())
        return XTEST_MISSING;
    XTestFakeMotionEvent(display(), position.screen, position.x, position.y, 0);
    flush();
    return {};
}

QString X11NativeInterface::pointerWarp(Point position)
{
    const bool isScreen = position.screen >= 0 && position.screen < ScreenCount(display());
    const int screen = isScreen ? position.screen : DefaultScreen(display());
    XWarpPointer(display(), None, RootWindow(display(), screen), 0, 0, 0, 0, position.x, position.y);
    // Deliberate: a warp synchronizes even while flushing is suppressed.
    XFlush(display());
    XSync(display(), False);
    return {};
}

PointerPosition X11NativeInterface::pointerPosition()
{
    const Xlib::QueriedPointer pointer = Xlib::queryPointer(display(), DefaultRootWindow(display()));
    if (!pointer.isOnScreen)
        return {0, {0, 0, -1}, QStringLiteral("XQueryPointer failed")};
    return {1, pointer.position, {}};
}

QString X11NativeInterface::pointerButton(MouseButton::Value button, bool press, int /*clickCount*/)
{
    if (!haveXTest())
        return XTEST_MISSING;
    const X11Button xButton = toX11Button(button);
    if (!xButton.errorText.isEmpty())
        return xButton.errorText;
    XTestFakeButtonEvent(display(), static_cast<unsigned int>(xButton.button), press ? True : False, 0);
    flush();
    return {};
}

QString X11NativeInterface::pointerButton(
    MouseButton::Value button, bool press, Point /*position*/, int clickCount)
{
    // Deliberate: ignores the position; callers move the pointer first.
    return pointerButton(button, press, clickCount);
}

QString X11NativeInterface::wheelRoll(int clicks)
{
    if (!haveXTest())
        return XTEST_MISSING;
    const unsigned int button = clicks > 0 ? wheelUp : wheelDown;
    const long long count = clicks > 0 ? clicks : -static_cast<long long>(clicks);
    for (long long click = 0; click < count; ++click) {
        XTestFakeButtonEvent(display(), button, True, 0);
        XTestFakeButtonEvent(display(), button, False, 0);
        flush();
    }
    return {};
}

DragResult X11NativeInterface::pointerDrag(Point start, int dx, int dy, int modifiers)
{
    if (!haveXTest())
        return {0, XTEST_MISSING};
    XTestFakeMotionEvent(display(), -1, start.x, start.y, 0);
    // Deliberate: a modifier that the keyboard lacks does not stop the drag, here and below.
    for (const ModifierFlagKey& modifier : modifierFlagKeys) {
        if ((modifiers & modifier.flag) != 0)
            sendKeySym(modifier.keysym, true, modifierPressDelay);
    }
    XTestFakeButtonEvent(display(), Button1, True, buttonPressDelay);
    XTestFakeMotionEvent(display(), -1, coordinateSum(start.x, dx), coordinateSum(start.y, dy), motionDelay);
    XTestFakeButtonEvent(display(), Button1, False, buttonReleaseDelay);
    for (const ModifierFlagKey& modifier : modifierFlagKeys) {
        if ((modifiers & modifier.flag) != 0)
            sendKeySym(modifier.keysym, false, modifierReleaseDelay);
    }
    flush();
    return {dragSettleTime, {}};
}

QString X11NativeInterface::touch(
    TouchType /*type*/, Point /*position*/, unsigned int /*id*/, unsigned int /*pressure*/)
{
    // Deliberate: XTest cannot synthesise touch; the host expects this text.
    return QStringLiteral("Stub");
}

} // namespace Zendra
