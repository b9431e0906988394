#pragma once

#include <array>

#include <zendra/nativeinterface.h>

#include "nativeinterface_x11_keymap.h"
#include "types_x11.h"

namespace Zendra::Xlib
{
class ScreenRecording;
}

namespace Zendra
{

/// The error of operations that need XTest on a display without it.
extern const QString XTEST_MISSING;

/// An X button number or an error.
struct X11Button {
    int button = 0;
    QString errorText;
};

X11Button toX11Button(MouseButton::Value value);

/// The key for a modifier flag.
struct ModifierFlagKey {
    ModifierKey flag;
    XKeySym keysym;
};

/// Shift, Control and Alt, in the order in which simple drags and pressReleaseModifiers() both press and
/// release them.
extern const std::array<ModifierFlagKey, 3> modifierFlagKeys;

/// The sum of two coordinates, which may wrap around: the protocol carries 16 bits.
inline int coordinateSum(int left, int right)
{
    return static_cast<int>(static_cast<unsigned int>(left) + static_cast<unsigned int>(right));
}

/// The part of the native interface that both variants share. PureXlibNativeInterface and
/// QtXlibNativeInterface add waiting, the clipboard and recordings, which depend on who dispatches the
/// connection's events.
///
/// Input is synthesised with the XTest extension. All use is on the connection's thread.
class X11NativeInterface : public NativeInterface
{
public:
    explicit X11NativeInterface(Display* display);
    /// Shares a keyboard map; makes no X request.
    X11NativeInterface(Display* display, KeyMap* keyMap, double scaleFactor);
    ~X11NativeInterface() override;

    using NativeInterface::desktopScreenshot;

    QList<Capability> getCapabilities() override;
    Screenshot desktopScreenshot(Rect area, int flags) override;
    void recordScreen(unsigned int formats, const QMap<QString, QVariant>& options,
        ResponseListener<BinaryStream*>* listener) override;
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
    NativeInterface* threadSafeCopy() override;
    bool supressFlush(bool suppress) override;

    /// Waits for `milliseconds`, dispatching the connection's events.
    virtual void processEvents(int milliseconds) = 0;
    /// Creates a recording, which the caller owns. RLE is preferred to H.264. Ignores the options, which the
    /// host applies. Throws std::runtime_error.
    virtual Xlib::ScreenRecording* createScreenRecording(
        unsigned int formats, const QMap<QString, QVariant>& options)
        = 0;

    // Key lookup.
    KeyStroke stateAndKeyCode(const QString& name, int modifiers) const;
    KeyStroke convertStringToStateAndKeyCode(const QString& name) const;

    // Sending keys. `window` is used only without XTest; with it the server picks the window with the focus.
    QString sendKeySym(XKeySym keysym, bool press, unsigned long delay);
    QString sendKeyStateEvent(XWindow window, int state, unsigned char keyCode, bool press);
    QString sendSingleEvent(XWindow window, const QString& name, bool press);
    QString sendSingleEvent(XWindow window, const QString& name);
    QString typeKeyCombo(XWindow window, QStringList keys);

    /// The first window below `parent` with that name, or None. Checks all children before any grandchild.
    XWindow findChildWindowByName(XWindow parent, const char* name, int depth, bool exact) const;

    bool haveXTest() const;
    QString nativeKeyCode(unsigned int keyCode, bool press);

    // Primitives that do not flush; their callers do.
    void fakeMotion(int x, int y, int waitMs);
    void fakeButton(int xButton, bool press);
    void fakeKey(int keyCode, bool press);

    double scaleFactor() const { return m_scaleFactor; }

protected:
    Display* display() const { return m_display; }
    KeyMap* keyMap() const { return m_keyMap.get(); }
    bool isFlushSuppressed() const { return m_flushSuppressed; }
    void flush();
    XWindow focusWindow() const;

private:
    Q_DISABLE_COPY(X11NativeInterface)

    void moveInDrag(int x, int y, int waitMs);
    void wiggle(Point centre, int scale);
    void wiggleBackwards(Point centre);
    void glide(Point from, Point target);

    Display* m_display;
    SharedRef<KeyMap> m_keyMap;
    double m_scaleFactor = 1.0;
    bool m_flushSuppressed = false;
};

} // namespace Zendra
