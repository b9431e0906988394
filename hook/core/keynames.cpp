#include <zendra/keynames.h>

#include <algorithm>
#include <iterator>

#include "similar.h"

#include <xkbcommon/xkbcommon.h>

namespace Zendra
{

namespace
{

enum class Spelling { Preferred, Other };

struct KeyName {
    const char* name;
    const char* keysymName;
    Spelling spelling;
};

constexpr Spelling Other = Spelling::Other;
constexpr Spelling Preferred = Spelling::Preferred;

/// Key names of scripts.
constexpr KeyName keyNameTable[] = {
    // Modifiers and locks
    {"Shift", "Shift_L", Preferred},
    {"ShiftLeft", "Shift_L", Other},
    {"ShiftRight", "Shift_R", Preferred},
    {"Ctrl", "Control_L", Preferred},
    {"Control", "Control_L", Other},
    {"CtrlLeft", "Control_L", Other},
    {"ControlLeft", "Control_L", Other},
    {"CtrlRight", "Control_R", Preferred},
    {"ControlRight", "Control_R", Other},
    {"Alt", "Alt_L", Preferred},
    {"AltLeft", "Alt_L", Other},
    {"AltRight", "Alt_R", Preferred},
    {"AltGr", "ISO_Level3_Shift", Preferred},
    {"AltGraph", "ISO_Level3_Shift", Other},
    {"Meta", "Meta_L", Preferred},
    {"Win", "Super_L", Preferred},
    {"WinLeft", "Super_L", Other},
    {"WinRight", "Super_R", Preferred},
    {"Windows", "Super_L", Other},
    {"Super", "Super_L", Other},
    {"Command", "Super_L", Other},
    {"Hyper", "Hyper_L", Preferred},
    {"Menu", "Menu", Preferred},
    {"ContextMenu", "Menu", Other},
    {"Apps", "Menu", Other},
    {"CapsLock", "Caps_Lock", Preferred},
    {"Caps", "Caps_Lock", Other},
    {"NumLock", "Num_Lock", Preferred},
    {"ScrollLock", "Scroll_Lock", Preferred},
    {"Compose", "Multi_key", Preferred},
    {"MultiKey", "Multi_key", Other},

    // Editing
    {"Esc", "Escape", Preferred},
    {"Escape", "Escape", Other},
    {"Tab", "Tab", Preferred},
    {"Tabulator", "Tab", Other},
    {"BackTab", "ISO_Left_Tab", Preferred},
    {"Enter", "Return", Preferred},
    {"Return", "Return", Other},
    {"CR", "Return", Other},
    {"Newline", "Return", Other},
    {"Space", "space", Preferred},
    {"Spacebar", "space", Other},
    {"Backspace", "BackSpace", Preferred},
    {"BS", "BackSpace", Other},
    {"Del", "Delete", Preferred},
    {"Delete", "Delete", Other},
    {"Ins", "Insert", Preferred},
    {"Insert", "Insert", Other},

    // Moving
    {"Home", "Home", Preferred},
    {"Pos1", "Home", Other},
    {"End", "End", Preferred},
    {"PageUp", "Prior", Preferred},
    {"PgUp", "Prior", Other},
    {"Prior", "Prior", Other},
    {"PageDown", "Next", Preferred},
    {"PgDown", "Next", Other},
    {"PgDn", "Next", Other},
    {"Next", "Next", Other},
    {"Left", "Left", Preferred},
    {"Right", "Right", Preferred},
    {"Up", "Up", Preferred},
    {"Down", "Down", Preferred},
    {"LeftArrow", "Left", Other},
    {"RightArrow", "Right", Other},
    {"UpArrow", "Up", Other},
    {"DownArrow", "Down", Other},
    {"ArrowLeft", "Left", Other},
    {"ArrowRight", "Right", Other},
    {"ArrowUp", "Up", Other},
    {"ArrowDown", "Down", Other},

    // System
    {"Print", "Print", Preferred},
    {"PrintScreen", "Print", Other},
    {"PrtSc", "Print", Other},
    {"PrtScn", "Print", Other},
    {"SysReq", "Sys_Req", Preferred},
    {"SysRq", "Sys_Req", Other},
    {"Pause", "Pause", Preferred},
    {"Break", "Break", Preferred},
    {"Help", "Help", Preferred},
    {"Undo", "Undo", Preferred},
    {"Redo", "Redo", Preferred},
    {"Find", "Find", Preferred},
    {"Cancel", "Cancel", Preferred},
    {"Clear", "Clear", Preferred},
    {"Select", "Select", Preferred},
    {"Execute", "Execute", Preferred},

    // Characters by name
    {"Plus", "plus", Preferred},
    {"Minus", "minus", Preferred},
    {"Hyphen", "minus", Other},
    {"Comma", "comma", Preferred},
    {"Period", "period", Preferred},
    {"Dot", "period", Other},
    {"Slash", "slash", Preferred},
    {"Backslash", "backslash", Preferred},
    {"Less", "less", Preferred},
    {"LessThan", "less", Other},
    {"Lt", "less", Other},
    {"Greater", "greater", Preferred},
    {"GreaterThan", "greater", Other},
    {"Gt", "greater", Other},
    {"Equal", "equal", Preferred},
    {"Semicolon", "semicolon", Preferred},
    {"Colon", "colon", Preferred},
    {"Quote", "apostrophe", Preferred},
    {"Apostrophe", "apostrophe", Other},
    {"DoubleQuote", "quotedbl", Preferred},
    {"Grave", "grave", Preferred},
    {"Backtick", "grave", Other},
    {"Euro", "EuroSign", Preferred},

    // Function keys
    {"F1", "F1", Preferred},
    {"F2", "F2", Preferred},
    {"F3", "F3", Preferred},
    {"F4", "F4", Preferred},
    {"F5", "F5", Preferred},
    {"F6", "F6", Preferred},
    {"F7", "F7", Preferred},
    {"F8", "F8", Preferred},
    {"F9", "F9", Preferred},
    {"F10", "F10", Preferred},
    {"F11", "F11", Preferred},
    {"F12", "F12", Preferred},
    {"F13", "F13", Preferred},
    {"F14", "F14", Preferred},
    {"F15", "F15", Preferred},
    {"F16", "F16", Preferred},
    {"F17", "F17", Preferred},
    {"F18", "F18", Preferred},
    {"F19", "F19", Preferred},
    {"F20", "F20", Preferred},
    {"F21", "F21", Preferred},
    {"F22", "F22", Preferred},
    {"F23", "F23", Preferred},
    {"F24", "F24", Preferred},

    // Keypad
    {"Num0", "KP_0", Preferred},
    {"Num1", "KP_1", Preferred},
    {"Num2", "KP_2", Preferred},
    {"Num3", "KP_3", Preferred},
    {"Num4", "KP_4", Preferred},
    {"Num5", "KP_5", Preferred},
    {"Num6", "KP_6", Preferred},
    {"Num7", "KP_7", Preferred},
    {"Num8", "KP_8", Preferred},
    {"Num9", "KP_9", Preferred},
    {"NumPlus", "KP_Add", Preferred},
    {"NumAdd", "KP_Add", Other},
    {"NumMinus", "KP_Subtract", Preferred},
    {"NumSubtract", "KP_Subtract", Other},
    {"NumMultiply", "KP_Multiply", Preferred},
    {"NumAsterisk", "KP_Multiply", Other},
    {"NumDivide", "KP_Divide", Preferred},
    {"NumSlash", "KP_Divide", Other},
    {"NumDecimal", "KP_Decimal", Preferred},
    {"NumDot", "KP_Decimal", Other},
    {"NumComma", "KP_Separator", Preferred},
    {"NumSeparator", "KP_Separator", Other},
    {"NumEqual", "KP_Equal", Preferred},
    {"NumEnter", "KP_Enter", Preferred},
    {"NumHome", "KP_Home", Preferred},
    {"NumEnd", "KP_End", Preferred},
    {"NumPageUp", "KP_Prior", Preferred},
    {"NumPgUp", "KP_Prior", Other},
    {"NumPageDown", "KP_Next", Preferred},
    {"NumPgDown", "KP_Next", Other},
    {"NumPgDn", "KP_Next", Other},
    {"NumLeft", "KP_Left", Preferred},
    {"NumRight", "KP_Right", Preferred},
    {"NumUp", "KP_Up", Preferred},
    {"NumDown", "KP_Down", Preferred},
    {"NumBegin", "KP_Begin", Preferred},
    {"NumIns", "KP_Insert", Preferred},
    {"NumInsert", "KP_Insert", Other},
    {"NumDel", "KP_Delete", Preferred},
    {"NumDelete", "KP_Delete", Other},

    // Media and browser keys
    {"VolumeUp", "XF86AudioRaiseVolume", Preferred},
    {"VolumeDown", "XF86AudioLowerVolume", Preferred},
    {"VolumeMute", "XF86AudioMute", Preferred},
    {"Mute", "XF86AudioMute", Other},
    {"MicMute", "XF86AudioMicMute", Preferred},
    {"MediaPlay", "XF86AudioPlay", Preferred},
    {"Play", "XF86AudioPlay", Other},
    {"MediaPause", "XF86AudioPause", Preferred},
    {"MediaStop", "XF86AudioStop", Preferred},
    {"Stop", "XF86AudioStop", Other},
    {"MediaNext", "XF86AudioNext", Preferred},
    {"MediaPrevious", "XF86AudioPrev", Preferred},
    {"MediaPrev", "XF86AudioPrev", Other},
    {"MediaRecord", "XF86AudioRecord", Preferred},
    {"MediaRewind", "XF86AudioRewind", Preferred},
    {"MediaForward", "XF86AudioForward", Preferred},
    {"MediaSelect", "XF86AudioMedia", Preferred},
    {"MediaEject", "XF86Eject", Preferred},
    {"Eject", "XF86Eject", Other},
    {"BrowserBack", "XF86Back", Preferred},
    {"BrowserForward", "XF86Forward", Preferred},
    {"BrowserRefresh", "XF86Refresh", Preferred},
    {"BrowserReload", "XF86Reload", Preferred},
    {"BrowserStop", "XF86Stop", Preferred},
    {"BrowserSearch", "XF86Search", Preferred},
    {"BrowserFavorites", "XF86Favorites", Preferred},
    {"BrowserHome", "XF86HomePage", Preferred},
    {"Mail", "XF86Mail", Preferred},
    {"LaunchMail", "XF86Mail", Other},
    {"Calculator", "XF86Calculator", Preferred},
    {"LaunchCalculator", "XF86Calculator", Other},
    {"MyComputer", "XF86MyComputer", Preferred},
    {"Sleep", "XF86Sleep", Preferred},
    {"WakeUp", "XF86WakeUp", Preferred},
    {"Power", "XF86PowerOff", Preferred},
    {"BrightnessUp", "XF86MonBrightnessUp", Preferred},
    {"BrightnessDown", "XF86MonBrightnessDown", Preferred},
};

const KeyName* findKeyName(const QString& name, Qt::CaseSensitivity sensitivity)
{
    const auto* row = std::find_if(
        std::begin(keyNameTable), std::end(keyNameTable), [&name, sensitivity](const KeyName& candidate) {
            return name.compare(QLatin1String(candidate.name), sensitivity) == 0;
        });
    return row != std::end(keyNameTable) ? row : nullptr;
}

bool isKeysymName(const QString& name)
{
    return xkb_keysym_from_name(name.toUtf8().constData(), XKB_KEYSYM_NO_FLAGS) != XKB_KEY_NoSymbol;
}

bool isSurrogatePair(const QString& name)
{
    return name.size() == 2 && name.at(0).isHighSurrogate() && name.at(1).isLowSurrogate();
}

bool isSingleCharacter(const QString& name)
{
    return name.size() == 1 || isSurrogatePair(name);
}

/// The name of the keysym that X keyboards have for a character beyond Latin-1: the traditional name where
/// there is one ("Cyrillic_ya"), else the Unicode form ("U0219").
QString keysymNameOfCharacter(const QString& character)
{
    const uint codePoint = isSurrogatePair(character)
        ? QChar::surrogateToUcs4(character.at(0), character.at(1))
        : character.at(0).unicode();
    if (QChar::isSurrogate(codePoint))
        return character; // half a character has no name
    const xkb_keysym_t keysym = xkb_utf32_to_keysym(codePoint);
    char name[64];
    if (keysym == XKB_KEY_NoSymbol || xkb_keysym_get_name(keysym, name, sizeof name) <= 0)
        return character;
    return QString::fromLatin1(name);
}

} // namespace

QString ourKeyToXKBString(const QString& name)
{
    if (name.isEmpty())
        return name;
    if (isSingleCharacter(name))
        return name.at(0).unicode() > 0xFF ? keysymNameOfCharacter(name) : name;
    if (const KeyName* row = findKeyName(name, Qt::CaseSensitive))
        return QLatin1String(row->keysymName);
    if (isKeysymName(name))
        return name;
    if (const KeyName* row = findKeyName(name, Qt::CaseInsensitive))
        return QLatin1String(row->keysymName);
    return name;
}

bool isKeyName(const QString& name)
{
    return isSingleCharacter(name) || findKeyName(name, Qt::CaseInsensitive) != nullptr || isKeysymName(name);
}

QString keyNameError(const QString& name, const QString& shown)
{
    if (isKeyName(name))
        return typedTextError(name);
    const QString similar = similarKeyName(name.trimmed());
    const QString hint = similar.isEmpty() ? QStringLiteral("'zendra --help' lists the names of keys")
                                           : QStringLiteral("did you mean '%1'?").arg(similar);
    const QString place = shown == name ? QString() : QStringLiteral(" in '%1'").arg(shown);
    return QStringLiteral("Unknown key '%1'%2; %3").arg(name, place, hint);
}

QString keyCombinationError(const QString& combination)
{
    if (combination.isEmpty())
        return QStringLiteral("'<>' does not name a key; write <less> for a less-than sign");
    if (combination == QLatin1String("+"))
        return QStringLiteral("'<+>' does not name a key; write + without brackets, or <Plus>");
    const QString shown = QLatin1Char('<') + combination + QLatin1Char('>');
    const bool endsWithPlusKey = combination.endsWith(QLatin1String("++"));
    const QString names = endsWithPlusKey ? combination.chopped(2) : combination;
    if (names.isEmpty())
        return {};
    for (const QString& name : names.split(QLatin1Char('+'))) {
        if (name.isEmpty()) {
            return QStringLiteral(
                "'%1' has a '+' without a key beside it; the plus key comes last, as in <Ctrl++>, "
                "or is written Plus")
                .arg(shown);
        }
        const QString errorText = keyNameError(name, shown);
        if (!errorText.isEmpty())
            return errorText;
    }
    return {};
}

QString typedTextError(const QString& text)
{
    for (int index = 0; index < text.size(); ++index) {
        const QChar character = text.at(index);
        if (character.category() == QChar::Other_Control
            && !QStringLiteral("\b\t\n\x1b\x7f").contains(character)) {
            return QStringLiteral(
                "Character %1 of the text is the control character U+%2, which no key types")
                .arg(text.left(index).toUcs4().size() + 1)
                .arg(character.unicode(), 4, 16, QLatin1Char('0'));
        }
    }
    return {};
}

QStringList keyNames()
{
    QStringList names;
    for (const KeyName& row : keyNameTable) {
        if (row.spelling == Spelling::Preferred)
            names.append(QLatin1String(row.name));
    }
    return names;
}

QString similarKeyName(const QString& name)
{
    QStringList names;
    for (const KeyName& row : keyNameTable)
        names.append(QLatin1String(row.name));
    return mostSimilar(name, names);
}

} // namespace Zendra
