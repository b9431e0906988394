#pragma once

#include <QList>
#include <QMap>
#include <QStringList>
#include <QVariant>

#include <zendra/export.h>
#include <zendra/input.h>
#include <zendra/responselistener.h>
#include <zendra/screenshot.h>

namespace Zendra
{

class BinaryStream;

/// The platform's input, clipboard and screen services.
///
/// Operations return an error text, empty on success, or a record that carries one. None throws. All
/// coordinates are screen pixels. An object is used on the thread that it was made for; threadSafeCopy()
/// gives another thread its own. Key names are never empty.
///
/// The order of the virtual functions is part of the interface: plug-ins are built against it.
class ZENDRA_EXPORT NativeInterface
{
public:
    enum Capability {
        capKeycodeSupport = 1 ///< keyCode() sends native key codes
    };

    NativeInterface() = default;

    /// Takes a screenshot and hands it to `listener`; the default calls the synchronous form.
    virtual void desktopScreenshot(ResponseListener<Screenshot>* listener, Rect area, int flags);
    virtual ~NativeInterface();
    virtual QList<Capability> getCapabilities() = 0;
    /// Takes a picture of `area`; a negative width or height takes the whole desktop.
    virtual Screenshot desktopScreenshot(Rect area, int flags) = 0;
    /// Starts a recording in one of the allowed `formats` (Video::ScreenRecordFormat bits) and hands its
    /// stream, which the listener then owns, to `listener`. The default responds that recording is not
    /// supported.
    virtual void recordScreen(unsigned int formats, const QMap<QString, QVariant>& options,
        ResponseListener<BinaryStream*>* listener);
    virtual ClipboardText getClipboardText() = 0;
    virtual QString setClipboardText(QString text) = 0;
    virtual PointerPosition pointerPosition() = 0;
    /// Presses or releases a button where the pointer is.
    virtual QString pointerButton(MouseButton::Value button, bool press, int clickCount) = 0;
    virtual QString pointerButton(MouseButton::Value button, bool press, Point position, int clickCount) = 0;
    /// Moves the pointer with motion events, as a hand would.
    virtual QString pointerMove(Point position) = 0;
    /// Puts the pointer somewhere else at once.
    virtual QString pointerWarp(Point position) = 0;
    /// Moves to `position` and presses `modifiers` and `button` there, or releases them in reverse order.
    virtual QString pointerPress(
        MouseButton::Value button, bool press, Point position, int modifiers, int clickCount);
    /// Moves to `position` and clicks there `clickCount` times with `modifiers` held. Whatever fails on the
    /// way, nothing stays pressed.
    virtual QString pointerClick(MouseButton::Value button, Point position, int modifiers, int clickCount);
    virtual QString doubleClick(MouseButton::Value button, Point position, int modifiers);
    /// Rolls the wheel by `clicks` notches, up when positive.
    virtual QString wheelRoll(int clicks) = 0;
    /// Presses `button` at `start` and moves enough for a toolkit to start a drag; the button stays down.
    /// `distance` is the toolkit's start distance in pixels.
    virtual QString pointerDragAndDropBegin(Point start, MouseButton::Value button, int distance) = 0;
    /// Carries a drag to `target` with `modifiers` held and drops it, or drops it where the pointer is.
    virtual QString pointerDragAndDropEnd(
        Point target, MouseButton::Value button, int modifiers, bool moveToTarget)
        = 0;
    /// Drags with the left button from `start` by `dx`, `dy` pixels with `modifiers` held.
    virtual DragResult pointerDrag(Point start, int dx, int dy, int modifiers) = 0;
    /// Presses or releases the key with a native code.
    virtual QString keyCode(unsigned int code, unsigned int scanCode, NativeKeyCodeSet set, bool press) = 0;
    /// Types one character; `modifiers` may add Control or Alt.
    virtual QString typeCharacter(QChar character, int modifiers) = 0;
    /// Presses or releases one key by name.
    virtual QString keyboardPressRelease(const QString& name, bool press) = 0;
    /// Whether a special-key name can be typed on the current keyboard.
    virtual bool isValidSpecialKey(QString name) = 0;
    virtual QString pressReleaseModifiers(int modifiers, bool press) = 0;
    virtual bool isModifierPressed(ModifierKey key) = 0;
    /// The key and modifiers that produce a character.
    virtual CharacterStroke charToKeyStroke(QChar character, bool native) = 0;
    /// Hands the names of the special keys that the current keyboard has to `listener`.
    virtual void extraKeys(ResponseListener<QStringList>* listener);
    virtual QString touch(TouchType type, Point position, unsigned int id, unsigned int pressure) = 0;
    virtual QString tap(Point position, int id);
    /// Looks up the window with the title `windowName` and types `text`. Where input is synthesised by the
    /// server the keys go to the window with the focus, elsewhere to the window that was found.
    virtual QString sendTextToWindow(QString windowName, QString text) = 0;
    /// Types text, or a combination in angle brackets such as "<Ctrl+a>", into the window with the focus.
    virtual QString sendKeyEventToFocusWindow(QString keys) = 0;
    /// Presses or releases one special key in angle brackets, or the first character of a text.
    virtual QString sendKeys(QString keys, bool press) = 0;
    /// A copy for use on another thread, owned by the caller; null when the display cannot be opened again.
    /// It shares the keyboard map, so this object's connection must stay open as long.
    virtual NativeInterface* threadSafeCopy() = 0;
    /// Stops pushing requests out after every operation (true), or goes back to that, pushes them out and
    /// waits for the server (false). Returns the old setting.
    virtual bool supressFlush(bool suppress) = 0;

private:
    Q_DISABLE_COPY(NativeInterface)
};

} // namespace Zendra
