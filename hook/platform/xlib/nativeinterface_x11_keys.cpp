#include "nativeinterface_x11.h"

#include <array>

#include <zendra/keynames.h>

#include "nativeinterface_x11_keynames.h"

#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

namespace Zendra
{

namespace
{

/// The modifier bits that are pressed with a key, in order.
struct StateModifier {
    int mask;
    XKeySym keysym;
};
constexpr std::array<StateModifier, 4> stateModifiers {{
    {ShiftMask, XK_Shift_L},
    {ControlMask, XK_Control_L},
    {Mod1Mask, XK_Alt_L},
    {Mod5Mask, XK_ISO_Level3_Shift},
}};

/// The names of modifier keys in angle brackets.
struct ModifierWord {
    const char* word;
    XKeySym keysym;
};
constexpr ModifierWord modifierWords[] = {
    {"Ctrl", XK_Control_L},
    {"Alt", XK_Alt_L},
    {"Shift", XK_Shift_L},
    {"Win", XK_Super_L},
    {"WinLeft", XK_Super_L},
    {"WinRight", XK_Super_R},
};

bool isInAngleBrackets(const QString& keys)
{
    return keys.startsWith(QLatin1Char('<')) && keys.endsWith(QLatin1Char('>'));
}

QString withoutBrackets(const QString& keys)
{
    return keys.mid(1, keys.size() - 2);
}

/// The names in a combination, separated by plus signs. The plus key comes last, as "++".
QStringList splitCombination(const QString& combination)
{
    // Deliberate: loses a plus key that is not at the end.
    QStringList names = combination.split(QLatin1Char('+'), Qt::SkipEmptyParts);
    if (combination.endsWith(QLatin1String("++")))
        names.append(QStringLiteral("+"));
    return names;
}

} // namespace

const std::array<ModifierFlagKey, 3> modifierFlagKeys {{
    {ShiftModifier, XK_Shift_L},
    {ControlModifier, XK_Control_L},
    {AltModifier, XK_Alt_L},
}};

XWindow X11NativeInterface::focusWindow() const
{
    Window focus = None;
    int revert = 0;
    XGetInputFocus(m_display, &focus, &revert);
    return focus;
}

KeyStroke X11NativeInterface::stateAndKeyCode(const QString& name, int modifiers) const
{
    const QString keysymName = ourKeyToXKBString(name);
    int unusedHint = 0;
    const XKeySym keysym = XStringToKeysymEx(keysymName, &unusedHint);
    KeyStroke stroke = keyMap()->keyCodeAndStateFromSym(keysym);
    if (!stroke.errorText.isEmpty())
        return {0, 0, stroke.errorText};
    // Deliberate: at most one modifier; Alt takes precedence over Control, and the key's level determines
    // Shift.
    if ((modifiers & AltModifier) != 0)
        stroke.state |= Mod1Mask;
    else if ((modifiers & ControlModifier) != 0)
        stroke.state |= ControlMask;
    return stroke;
}

KeyStroke X11NativeInterface::convertStringToStateAndKeyCode(const QString& name) const
{
    for (const ModifierWord& modifier : modifierWords) {
        if (name == QLatin1String(modifier.word))
            return keyMap()->keyCodeAndStateFromSym(modifier.keysym);
    }
    int unusedHint = 0;
    return keyMap()->keyCodeAndStateFromSym(
        XStringToKeysymEx2(QString::fromUtf8(name.toUtf8()), &unusedHint));
}

bool X11NativeInterface::isValidSpecialKey(QString name)
{
    return convertStringToStateAndKeyCode(name).errorText.isEmpty();
}

QString X11NativeInterface::sendKeySym(XKeySym keysym, bool press, unsigned long delay)
{
    const KeyStroke stroke = keyMap()->keyCodeAndStateFromSym(keysym);
    if (!stroke.errorText.isEmpty())
        return stroke.errorText;
    XTestFakeKeyEvent(display(), stroke.keyCode, press ? True : False, delay);
    return {};
}

QString X11NativeInterface::sendKeyStateEvent(XWindow window, int state, unsigned char keyCode, bool press)
{
    if (!haveXTest()) {
        XEvent event;
        event.xkey = XKeyEvent {};
        event.xkey.type = press ? KeyPress : KeyRelease;
        event.xkey.display = display();
        event.xkey.window = window;
        event.xkey.time = CurrentTime;
        event.xkey.state = static_cast<unsigned int>(state);
        event.xkey.keycode = keyCode;
        XSendEvent(display(), window, False, KeyPressMask | KeyReleaseMask, &event);
    } else if (press) {
        // Deliberate: sends the key even if the keyboard lacks a modifier, here and below.
        for (const StateModifier& modifier : stateModifiers) {
            if ((state & modifier.mask) != 0)
                sendKeySym(modifier.keysym, true, 0);
        }
        XTestFakeKeyEvent(display(), keyCode, True, 0);
    } else {
        XTestFakeKeyEvent(display(), keyCode, False, 0);
        for (auto modifier = stateModifiers.rbegin(); modifier != stateModifiers.rend(); ++modifier) {
            if ((state & modifier->mask) != 0)
                sendKeySym(modifier->keysym, false, 0);
        }
    }
    flush();
    return {};
}

QString X11NativeInterface::sendSingleEvent(XWindow window, const QString& name, bool press)
{
    const KeyStroke stroke = convertStringToStateAndKeyCode(name);
    if (!stroke.errorText.isEmpty())
        return stroke.errorText;
    sendKeyStateEvent(window, stroke.state, static_cast<unsigned char>(stroke.keyCode), press);
    return {};
}

QString X11NativeInterface::sendSingleEvent(XWindow window, const QString& name)
{
    const KeyStroke stroke = stateAndKeyCode(name, NoModifier);
    if (!stroke.errorText.isEmpty())
        return stroke.errorText;
    sendKeyStateEvent(window, stroke.state, static_cast<unsigned char>(stroke.keyCode), true);
    sendKeyStateEvent(window, stroke.state, static_cast<unsigned char>(stroke.keyCode), false);
    return {};
}

QString X11NativeInterface::sendKeys(QString keys, bool press)
{
    const XWindow focus = focusWindow();
    if (keys.isEmpty())
        return {};
    if (isInAngleBrackets(keys))
        return sendSingleEvent(focus, withoutBrackets(keys), press);
    // Deliberate: sends only the first character, as the host calls this for single keys, and does not report
    // one without a key.
    sendSingleEvent(focus, QString(keys.at(0)), press);
    return {};
}

QString X11NativeInterface::sendKeyEventToFocusWindow(QString keys)
{
    if (keys.isEmpty())
        return {};
    const XWindow focus = focusWindow();
    if (isInAngleBrackets(keys))
        return typeKeyCombo(focus, splitCombination(withoutBrackets(keys)));
    for (const QChar character : qAsConst(keys)) {
        const QString errorText = sendSingleEvent(focus, QString(character));
        if (!errorText.isEmpty())
            return errorText;
    }
    return {};
}

QString X11NativeInterface::typeKeyCombo(XWindow window, QStringList keys)
{
    if (keys.isEmpty())
        return {};
    const KeyStroke stroke = stateAndKeyCode(keys.takeFirst(), NoModifier);
    if (!stroke.errorText.isEmpty())
        return stroke.errorText;
    const auto keyCode = static_cast<unsigned char>(stroke.keyCode);
    sendKeyStateEvent(window, stroke.state, keyCode, true);
    const QString errorText = typeKeyCombo(window, keys);
    sendKeyStateEvent(window, stroke.state, keyCode, false);
    return errorText;
}

} // namespace Zendra
