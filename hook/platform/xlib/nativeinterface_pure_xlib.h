#pragma once

#include <QPointer>

#include "nativeinterface_x11.h"
#include "xdisplay_xlib.h"

namespace Zendra
{

/// The native interface on a private connection. Every operation flushes the connection and dispatches queued
/// events.
class PureXlibNativeInterface : public X11NativeInterface
{
public:
    /// Takes no reference on `display`, which must exist while the object is used.
    explicit PureXlibNativeInterface(Xlib::XDisplay* display);
    /// Without a wrapper, events are discarded until a recording creates one.
    explicit PureXlibNativeInterface(Display* display);
    PureXlibNativeInterface(Display* display, KeyMap* keyMap, double scaleFactor);
    ~PureXlibNativeInterface() override;

    using X11NativeInterface::desktopScreenshot;

    Screenshot desktopScreenshot(Rect area, int flags) override;
    void recordScreen(unsigned int formats, const QMap<QString, QVariant>& options,
        ResponseListener<BinaryStream*>* listener) override;
    ClipboardText getClipboardText() override;
    QString setClipboardText(QString text) override;
    PointerPosition pointerPosition() override;
    QString pointerButton(MouseButton::Value button, bool press, int clickCount) override;
    QString pointerButton(MouseButton::Value button, bool press, Point position, int clickCount) override;
    QString pointerMove(Point position) override;
    QString pointerWarp(Point position) override;
    QString wheelRoll(int clicks) override;
    QString pointerDragAndDropBegin(Point start, MouseButton::Value button, int distance) override;
    QString pointerDragAndDropEnd(
        Point target, MouseButton::Value button, int modifiers, bool moveToTarget) override;
    DragResult pointerDrag(Point start, int dx, int dy, int modifiers) override;
    QString keyCode(unsigned int code, unsigned int scanCode, NativeKeyCodeSet set, bool press) override;
    QString typeCharacter(QChar character, int modifiers) override;
    QString keyboardPressRelease(const QString& name, bool press) override;
    bool isValidSpecialKey(QString name) override;
    QString pressReleaseModifiers(int modifiers, bool press) override;
    bool isModifierPressed(ModifierKey key) override;
    CharacterStroke charToKeyStroke(QChar character, bool native) override;
    QString touch(TouchType type, Point position, unsigned int id, unsigned int pressure) override;
    QString sendTextToWindow(QString windowName, QString text) override;
    QString sendKeyEventToFocusWindow(QString keys) override;
    QString sendKeys(QString keys, bool press) override;
    void processEvents(int milliseconds) override;
    Xlib::ScreenRecording* createScreenRecording(
        unsigned int formats, const QMap<QString, QVariant>& options) override;

private:
    void twoWayFlush();
    /// The wrapper, created on demand.
    Xlib::XDisplay* wrapper();
    /// Calls an inherited operation, then flushes and dispatches; returns its result.
    template <typename Operation>
    auto flushed(Operation operation)
    {
        auto result = operation();
        twoWayFlush();
        return result;
    }

    QPointer<Xlib::XDisplay> m_wrapper;
};

} // namespace Zendra
