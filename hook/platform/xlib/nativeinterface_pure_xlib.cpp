#include "nativeinterface_pure_xlib.h"

#include <unistd.h>

#include <QElapsedTimer>

#include <X11/Xlib.h>

namespace Zendra
{

namespace
{

/// Sleep between polls, in microseconds.
constexpr unsigned int idleSleep = 10000;

} // namespace

PureXlibNativeInterface::PureXlibNativeInterface(Xlib::XDisplay* display)
    : X11NativeInterface(display->display())
    , m_wrapper(display)
{
}

PureXlibNativeInterface::PureXlibNativeInterface(Display* display)
    : X11NativeInterface(display)
{
}

PureXlibNativeInterface::PureXlibNativeInterface(Display* display, KeyMap* keyMap, double scaleFactor)
    : X11NativeInterface(display, keyMap, scaleFactor)
{
}

PureXlibNativeInterface::~PureXlibNativeInterface() = default;

Screenshot PureXlibNativeInterface::desktopScreenshot(Rect area, int flags)
{
    return flushed([&] { return X11NativeInterface::desktopScreenshot(area, flags); });
}

PointerPosition PureXlibNativeInterface::pointerPosition()
{
    return flushed([&] { return X11NativeInterface::pointerPosition(); });
}

QString PureXlibNativeInterface::pointerButton(MouseButton::Value button, bool press, int clickCount)
{
    return flushed([&] { return X11NativeInterface::pointerButton(button, press, clickCount); });
}

QString PureXlibNativeInterface::pointerButton(
    MouseButton::Value button, bool press, Point position, int clickCount)
{
    return flushed([&] { return X11NativeInterface::pointerButton(button, press, position, clickCount); });
}

QString PureXlibNativeInterface::pointerMove(Point position)
{
    return flushed([&] { return X11NativeInterface::pointerMove(position); });
}

QString PureXlibNativeInterface::pointerWarp(Point position)
{
    return flushed([&] { return X11NativeInterface::pointerWarp(position); });
}

QString PureXlibNativeInterface::wheelRoll(int clicks)
{
    return flushed([&] { return X11NativeInterface::wheelRoll(clicks); });
}

QString PureXlibNativeInterface::pointerDragAndDropBegin(Point start, MouseButton::Value button, int distance)
{
    return flushed([&] { return X11NativeInterface::pointerDragAndDropBegin(start, button, distance); });
}

QString PureXlibNativeInterface::pointerDragAndDropEnd(
    Point target, MouseButton::Value button, int modifiers, bool moveToTarget)
{
    return flushed(
        [&] { return X11NativeInterface::pointerDragAndDropEnd(target, button, modifiers, moveToTarget); });
}

DragResult PureXlibNativeInterface::pointerDrag(Point start, int dx, int dy, int modifiers)
{
    return flushed([&] { return X11NativeInterface::pointerDrag(start, dx, dy, modifiers); });
}

QString PureXlibNativeInterface::keyCode(
    unsigned int code, unsigned int scanCode, NativeKeyCodeSet set, bool press)
{
    return flushed([&] { return X11NativeInterface::keyCode(code, scanCode, set, press); });
}

QString PureXlibNativeInterface::typeCharacter(QChar character, int modifiers)
{
    return flushed([&] { return X11NativeInterface::typeCharacter(character, modifiers); });
}

QString PureXlibNativeInterface::keyboardPressRelease(const QString& name, bool press)
{
    return flushed([&] { return X11NativeInterface::keyboardPressRelease(name, press); });
}

bool PureXlibNativeInterface::isValidSpecialKey(QString name)
{
    return flushed([&] { return X11NativeInterface::isValidSpecialKey(name); });
}

QString PureXlibNativeInterface::pressReleaseModifiers(int modifiers, bool press)
{
    return flushed([&] { return X11NativeInterface::pressReleaseModifiers(modifiers, press); });
}

bool PureXlibNativeInterface::isModifierPressed(ModifierKey key)
{
    return flushed([&] { return X11NativeInterface::isModifierPressed(key); });
}

CharacterStroke PureXlibNativeInterface::charToKeyStroke(QChar character, bool native)
{
    return flushed([&] { return X11NativeInterface::charToKeyStroke(character, native); });
}

QString PureXlibNativeInterface::touch(TouchType type, Point position, unsigned int id, unsigned int pressure)
{
    return flushed([&] { return X11NativeInterface::touch(type, position, id, pressure); });
}

QString PureXlibNativeInterface::sendTextToWindow(QString windowName, QString text)
{
    return flushed([&] { return X11NativeInterface::sendTextToWindow(windowName, text); });
}

QString PureXlibNativeInterface::sendKeyEventToFocusWindow(QString keys)
{
    return flushed([&] { return X11NativeInterface::sendKeyEventToFocusWindow(keys); });
}

QString PureXlibNativeInterface::sendKeys(QString keys, bool press)
{
    return flushed([&] { return X11NativeInterface::sendKeys(keys, press); });
}

void PureXlibNativeInterface::processEvents(int milliseconds)
{
    QElapsedTimer timer;
    timer.start();
    while (true) {
        XFlush(display());
        if (XPending(display()) > 0) {
            if (m_wrapper) {
                m_wrapper->processQueuedEvents();
            } else {
                do {
                    XEvent dropped;
                    XNextEvent(display(), &dropped);
                } while (XPending(display()) > 0);
            }
        } else if (timer.elapsed() >= milliseconds) {
            return;
        } else {
            usleep(idleSleep);
        }
    }
}

void PureXlibNativeInterface::twoWayFlush()
{
    if (!isFlushSuppressed())
        XFlush(display());
    if (m_wrapper)
        m_wrapper->processQueuedEvents();
}

} // namespace Zendra
