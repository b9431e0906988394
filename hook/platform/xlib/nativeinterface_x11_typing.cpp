#include "nativeinterface_x11.h"

#include <QMap>

#include "nativeinterface_x11_keynames.h"

#include <X11/XKBlib.h>
#include <X11/Xlib.h>

namespace Zendra
{

namespace
{

struct KeyCharacter {
    const char* keysymName;
    ushort character;
};

// Deliberate: "quoteright" is listed as the double quote and "quotedbl" is missing, so that a key whose base
// keysym is quotedbl yields "?". Return yields a line feed.
constexpr KeyCharacter keyCharacters[] = {
    {"BackSpace", 8},
    {"Tab", 9},
    {"Return", 10},
    {"Escape", 27},
    {"space", ' '},
    {"exclam", '!'},
    {"numbersign", '#'},
    {"dollar", '$'},
    {"percent", '%'},
    {"ampersand", '&'},
    {"apostrophe", '\''},
    {"quoteright", '"'},
    {"parenleft", '('},
    {"parenright", ')'},
    {"asterisk", '*'},
    {"plus", '+'},
    {"comma", ','},
    {"minus", '-'},
    {"period", '.'},
    {"slash", '/'},
    {"colon", ':'},
    {"semicolon", ';'},
    {"less", '<'},
    {"equal", '='},
    {"greater", '>'},
    {"question", '?'},
    {"at", '@'},
    {"bracketleft", '['},
    {"backslash", '\\'},
    {"bracketright", ']'},
    {"underscore", '_'},
    {"braceleft", '{'},
    {"bar", '|'},
    {"braceright", '}'},
    {"asciitilde", '~'},
    {"grave", '`'},
    {"asciicircum", '^'},
    {"Delete", 127},
};

/// The character that the key with the base keysym `name` yields; "?" where that is unknown.
QChar XKeyNameToChar(const QString& name)
{
    static QMap<QString, QChar> xkeynames;
    if (xkeynames.isEmpty()) {
        for (const KeyCharacter& row : keyCharacters)
            xkeynames.insert(QLatin1String(row.keysymName), QChar(row.character));
        for (const KeySymbol* row = key_symbols; row->keysymName != nullptr; ++row)
            xkeynames.insert(QLatin1String(row->keysymName), QString::fromUtf8(row->text).at(0));
    }
    const auto entry = xkeynames.constFind(name);
    if (entry != xkeynames.constEnd())
        return *entry;
    return name.size() == 1 ? name.at(0) : QLatin1Char('?');
}

} // namespace

CharacterStroke X11NativeInterface::charToKeyStroke(QChar character, bool native)
{
    int unusedHint = 0;
    const XKeySym keysym = XStringToKeysymEx(QString(character), &unusedHint);
    const KeyStroke stroke = keyMap()->keyCodeAndStateFromSym(keysym);
    if (!stroke.errorText.isEmpty())
        return {0, NoModifier, stroke.errorText};
    const int modifiers = ((stroke.state & ShiftMask) != 0 ? ShiftModifier : NoModifier)
        | ((stroke.state & Mod5Mask) != 0 ? ThirdLevelModifier : NoModifier);
    if (native)
        return {stroke.keyCode, modifiers, {}};

    const KeySym base = XkbKeycodeToKeysym(display(), static_cast<KeyCode>(stroke.keyCode), 0, 0);
    const char* name = XKeysymToString(base);
    if (name == nullptr)
        return {stroke.keyCode, modifiers, {}};
    return {XKeyNameToChar(QString::fromLatin1(name)).unicode(), modifiers, {}};
}

QString X11NativeInterface::typeCharacter(QChar character, int modifiers)
{
    const KeyStroke stroke = stateAndKeyCode(QString(character), modifiers);
    if (!stroke.errorText.isEmpty())
        return stroke.errorText;
    // Deliberate: failures to send are not reported, here and below.
    const XWindow focus = focusWindow();
    const auto keyCode = static_cast<unsigned char>(stroke.keyCode);
    sendKeyStateEvent(focus, stroke.state, keyCode, true);
    sendKeyStateEvent(focus, stroke.state, keyCode, false);
    return {};
}

QString X11NativeInterface::keyboardPressRelease(const QString& name, bool press)
{
    const KeyStroke stroke = stateAndKeyCode(name, NoModifier);
    if (!stroke.errorText.isEmpty())
        return stroke.errorText;
    sendKeyStateEvent(None, stroke.state, static_cast<unsigned char>(stroke.keyCode), press);
    return {};
}

QString X11NativeInterface::pressReleaseModifiers(int modifiers, bool press)
{
    if (!haveXTest())
        return XTEST_MISSING;
    QString errorText;
    for (const ModifierFlagKey& modifier : modifierFlagKeys) {
        if ((modifiers & modifier.flag) != 0 && errorText.isEmpty())
            errorText = sendKeySym(modifier.keysym, press, 0);
    }
    flush();
    return errorText;
}

} // namespace Zendra
