#include "keyprediction.h"

#include "connection.h"

#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/keysym.h>

namespace Zendra::Runner
{

namespace
{

struct FreeKeyboard {
    void operator()(XkbDescPtr keyboard) const { XkbFreeKeyboard(keyboard, 0, True); }
};

constexpr unsigned int numLock = Mod2Mask; // as the plug-in has it
constexpr unsigned int levelModifiers[] = {0, ShiftMask, Mod5Mask, ShiftMask | Mod5Mask};

KeySym keysymOf(const QString& name)
{
    return XStringToKeysym(name.toLatin1().constData());
}

/// One key of the keymap, with the server's state when it was asked.
class Key
{
public:
    Key(XkbDescPtr keyboard, const XkbStateRec& state, KeySym keysym)
        : m_keyboard(keyboard)
        , m_state(state)
        , m_isKeypad(IsKeypadKey(keysym) != False)
    {
        for (unsigned int keyCode = keyboard->min_key_code; keyCode <= keyboard->max_key_code; ++keyCode) {
            if (find(static_cast<KeyCode>(keyCode), keysym))
                return;
        }
    }

    bool exists() const { return m_level >= 0; }
    KeySym base() const { return XkbKeySymEntry(m_keyboard, m_keyCode, 0, m_group); }
    /// What clients receive with the modifiers that the plug-in presses for the level.
    KeySym pressed(unsigned int modifiers) const
    {
        unsigned int pressedModifiers = levelModifiers[m_level];
        if (m_isKeypad && (modifiers & numLock) != 0)
            pressedModifiers &= ~unsigned(ShiftMask);
        return received(modifiers | pressedModifiers);
    }
    KeySym received(unsigned int modifiers) const
    {
        unsigned int unused = 0;
        KeySym keysym = NoSymbol;
        XkbTranslateKeyCode(
            m_keyboard, m_keyCode, XkbBuildCoreState(modifiers, m_state.group), &unused, &keysym);
        return keysym;
    }

private:
    bool find(KeyCode keyCode, KeySym keysym)
    {
        const int groups = XkbKeyNumGroups(m_keyboard, keyCode);
        const int group = m_state.group < groups ? m_state.group : 0;
        const int levels = groups == 0 ? 0 : XkbKeyGroupWidth(m_keyboard, keyCode, group);
        for (int level = 0; level < levels && level < 4; ++level) {
            if (XkbKeySymEntry(m_keyboard, keyCode, level, group) == keysym) {
                m_keyCode = keyCode;
                m_group = group;
                m_level = level;
                return true;
            }
        }
        return false;
    }

    XkbDescPtr m_keyboard;
    const XkbStateRec& m_state;
    bool m_isKeypad;
    KeyCode m_keyCode = 0;
    int m_group = 0;
    int m_level = -1;
};

QString nameOf(KeySym keysym)
{
    const char* name = XKeysymToString(keysym);
    return name != nullptr ? QString::fromLatin1(name) : QStringLiteral("nothing");
}

} // namespace

bool dependsOnKeyType(const QString& keysymName)
{
    const KeySym keysym = keysymOf(keysymName);
    return IsKeypadKey(keysym) != False || keysym == XK_Break;
}

KeyPrediction predictKey(const QByteArray& displayName, const QString& keysymName, unsigned int heldModifiers)
{
    using Need = KeyPrediction::Need;
    const ConnectionPointer connection = openConnection(displayName);
    const std::unique_ptr<XkbDescRec, FreeKeyboard> keyboard(
        XkbGetMap(connection.get(), XkbKeyTypesMask | XkbKeySymsMask, XkbUseCoreKbd));
    XkbStateRec state {};
    if (!keyboard || XkbGetState(connection.get(), XkbUseCoreKbd, &state) != Success)
        return {};
    const KeySym wanted = keysymOf(keysymName);
    const Key key(keyboard.get(), state, wanted);
    if (!key.exists())
        return {};
    const unsigned int modifiers = state.mods | heldModifiers;
    if (key.pressed(modifiers) == wanted)
        return {};
    if (key.pressed(modifiers ^ numLock) == wanted)
        return {Need::NumLockToggled, {}, {}};
    if (key.received(modifiers | ControlMask) == wanted)
        return {Need::ControlWithBase, nameOf(key.base()), {}};
    return {Need::Impossible, {}, nameOf(key.pressed(modifiers))};
}

} // namespace Zendra::Runner
