#include "nativeinterface_x11_keymap.h"

#include <stdexcept>

#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/keysym.h>

namespace Zendra
{

namespace
{

/// Keypad keysyms, whose second level needs no Shift while Num Lock is on.
bool isKeypadKeysym(XKeySym keysym)
{
    return keysym >= XK_KP_Space && keysym <= XK_KP_Equal;
}

/// The LED that keyboards give to Num Lock, as a bit of the LED mask.
constexpr unsigned long numLockLed = 2;

} // namespace

LevelState stateFromGroup(int level)
{
    switch (level) {
    case 0:
        return {0, {}};
    case 1:
        return {ShiftMask, {}};
    case 2:
        return {Mod5Mask, {}};
    case 3:
        return {ShiftMask | Mod5Mask, {}};
    default:
        // Deliberate: "%d" is not a placeholder of QString::arg(), so it stays in the text.
        return {0, QStringLiteral("Could not convert the modifier group %d into a keyboard state")};
    }
}

Shared::~Shared() = default;

X11KeyMap::X11KeyMap(Display* display)
    : m_display(display)
{
    XDisplayKeycodes(display, &m_minimumKeyCode, &m_maximumKeyCode);
    // Deliberate: the count is one short of the range. The highest key code is not fetched, and the search
    // stops before it.
    m_keysyms = XGetKeyboardMapping(display, static_cast<KeyCode>(m_minimumKeyCode),
        m_maximumKeyCode - m_minimumKeyCode, &m_keysymsPerKeyCode);
    if (m_keysyms == nullptr)
        throw std::runtime_error("Failed retrieving X11 keyboard mapping");
}

X11KeyMap::~X11KeyMap()
{
    XFree(m_keysyms);
}

KeyStroke X11KeyMap::keyCodeAndStateFromSym(XKeySym keysym) const
{
    for (int keyCode = m_minimumKeyCode; keyCode < m_maximumKeyCode; ++keyCode) {
        const int column = columnInRow(keyCode - m_minimumKeyCode, keysym);
        if (column < 0)
            continue;
        LevelState level = stateFromGroup(column);
        if (!level.errorText.isEmpty())
            return {0, 0, level.errorText};
        if (isKeypadKeysym(keysym) && isNumLockLit())
            level.state &= ~ShiftMask;
        return {static_cast<unsigned int>(keyCode), level.state, {}};
    }
    return {0, 0, QStringLiteral("Could not translate the symbol %1 into an X11 keycode").arg(keysym)};
}

/// The first column of a row that holds `keysym`, or -1. Ignores trailing NoSymbols.
int X11KeyMap::columnInRow(int row, XKeySym keysym) const
{
    const XKeySym* columns = m_keysyms + static_cast<ptrdiff_t>(row) * m_keysymsPerKeyCode;
    int count = m_keysymsPerKeyCode;
    while (count > 0 && columns[count - 1] == NoSymbol)
        --count;
    for (int column = 0; column < count; ++column) {
        if (columns[column] == keysym)
            return column;
    }
    return -1;
}

bool X11KeyMap::isNumLockLit() const
{
    XKeyboardState control;
    XGetKeyboardControl(m_display, &control);
    return (control.led_mask & numLockLed) != 0;
}

XkbKeyMap::XkbKeyMap(Display* display)
    : m_description(XkbGetMap(display, XkbKeyTypesMask | XkbKeySymsMask | XkbModifierMapMask, XkbUseCoreKbd))
    , m_display(display)
{
    if (m_description == nullptr)
        throw std::runtime_error("Failed retrieving the XKB keymap");
    XkbStateRec state {};
    XkbGetState(display, XkbUseCoreKbd, &state);
    m_group = state.group;
}

XkbKeyMap::~XkbKeyMap()
{
    // Deliberate: the description record itself stays allocated; only its client map is released.
    XkbFreeClientMap(m_description, 0, True);
}

KeyStroke XkbKeyMap::keyCodeAndStateFromSym(XKeySym keysym) const
{
    const Position position = find(keysym);
    if (position.keyCode < 0)
        return {0, 0, QStringLiteral("Could not translate the symbol %1 into a keycode").arg(keysym)};
    LevelState level = stateFromGroup(position.level);
    if (!level.errorText.isEmpty())
        return {0, 0, level.errorText};
    if (isKeypadKeysym(keysym) && isNumLockOn())
        level.state &= ~ShiftMask;
    return {static_cast<unsigned int>(position.keyCode), level.state, {}};
}

/// Walks the keys' symbol table from key code 0 upwards, in the map's group or, for a key with fewer groups,
/// in the key's first one. The table's total count bounds the walk: a key whose symbols reach it is the last.
///
/// Deliberate: keysym 0 is no exception and finds the first empty level. And a key's extent counts from its
/// symbols in the map's group, so that in a later group the walk may end some keys early.
XkbKeyMap::Position XkbKeyMap::find(XKeySym keysym) const
{
    const XkbClientMapRec* map = m_description->map;
    if (map == nullptr || map->key_sym_map == nullptr || map->syms == nullptr)
        return {};
    const int total = map->num_syms;
    for (int keyCode = 0; keyCode <= m_description->max_key_code; ++keyCode) {
        const XkbSymMapRec& key = map->key_sym_map[keyCode];
        if (total <= key.offset)
            return {};
        // Deliberate: the whole group byte counts, its flag bits included. A key with flags seems to have
        // many groups, and its extent may end the walk early.
        const int groups = key.group_info;
        int offset = key.offset;
        int end = offset + key.width;
        if (groups != 0) {
            if (m_group < groups)
                offset += m_group * key.width;
            end = offset + key.width * groups;
            // Never read past the end of an inconsistent table.
            for (int level = 0; level < key.width && offset + level < total; ++level) {
                if (map->syms[offset + level] == keysym)
                    return {keyCode, level};
            }
        }
        if (end >= total)
            return {};
    }
    return {};
}

bool XkbKeyMap::isNumLockOn() const
{
    XkbStateRec state {};
    return XkbGetState(m_display, XkbUseCoreKbd, &state) == Success && (state.mods & Mod2Mask) != 0;
}

NullKeyMap::NullKeyMap(const QString& errorText)
    : m_errorText(errorText)
{
}

NullKeyMap::~NullKeyMap() = default;

KeyStroke NullKeyMap::keyCodeAndStateFromSym(XKeySym) const
{
    return {0, 0, m_errorText};
}

} // namespace Zendra
