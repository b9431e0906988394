#include "nativeinterface_x11_keynames.h"

#include <algorithm>
#include <iterator>

#include <X11/Xlib.h>

namespace Zendra
{

// Deliberate: U+00B9 is spelt "oneosuperior" and U+00BE "threequarter", names that X does not know, and
// U+00A0, U+00A8, U+00AD, U+00AF, U+00B4, U+00B7 and U+00B8 have no rows. These characters resolve by their
// code.
const KeySymbol key_symbols[] = {
    {"EuroSign", "€"},
    {"exclamdown", "¡"},
    {"cent", "¢"},
    {"sterling", "£"},
    {"currency", "¤"},
    {"yen", "¥"},
    {"brokenbar", "¦"},
    {"section", "§"},
    {"copyright", "©"},
    {"ordfeminine", "ª"},
    {"guillemotleft", "«"},
    {"notsign", "¬"},
    {"registered", "®"},
    {"degree", "°"},
    {"plusminus", "±"},
    {"twosuperior", "²"},
    {"threesuperior", "³"},
    {"mu", "µ"},
    {"paragraph", "¶"},
    {"oneosuperior", "¹"},
    {"masculine", "º"},
    {"guillemotright", "»"},
    {"onequarter", "¼"},
    {"onehalf", "½"},
    {"threequarter", "¾"},
    {"questiondown", "¿"},
    {"Agrave", "À"},
    {"Aacute", "Á"},
    {"Acircumflex", "Â"},
    {"Atilde", "Ã"},
    {"Adiaeresis", "Ä"},
    {"Aring", "Å"},
    {"AE", "Æ"},
    {"Ccedilla", "Ç"},
    {"Egrave", "È"},
    {"Eacute", "É"},
    {"Ecircumflex", "Ê"},
    {"Ediaeresis", "Ë"},
    {"Igrave", "Ì"},
    {"Iacute", "Í"},
    {"Icircumflex", "Î"},
    {"Idiaeresis", "Ï"},
    {"ETH", "Ð"},
    {"Ntilde", "Ñ"},
    {"Ograve", "Ò"},
    {"Oacute", "Ó"},
    {"Ocircumflex", "Ô"},
    {"Odoubleacute", "Ő"},
    {"Otilde", "Õ"},
    {"Odiaeresis", "Ö"},
    {"multiply", "×"},
    {"Oslash", "Ø"},
    {"Ugrave", "Ù"},
    {"Uacute", "Ú"},
    {"Ucircumflex", "Û"},
    {"Udiaeresis", "Ü"},
    {"Yacute", "Ý"},
    {"THORN", "Þ"},
    {"ssharp", "ß"},
    {"agrave", "à"},
    {"aacute", "á"},
    {"acircumflex", "â"},
    {"atilde", "ã"},
    {"adiaeresis", "ä"},
    {"aring", "å"},
    {"ae", "æ"},
    {"ccedilla", "ç"},
    {"egrave", "è"},
    {"eacute", "é"},
    {"ecircumflex", "ê"},
    {"ediaeresis", "ë"},
    {"igrave", "ì"},
    {"iacute", "í"},
    {"icircumflex", "î"},
    {"idiaeresis", "ï"},
    {"eth", "ð"},
    {"ntilde", "ñ"},
    {"ograve", "ò"},
    {"oacute", "ó"},
    {"ocircumflex", "ô"},
    {"odoubleacute", "ő"},
    {"otilde", "õ"},
    {"odiaeresis", "ö"},
    {"division", "÷"},
    {"oslash", "ø"},
    {"ugrave", "ù"},
    {"uacute", "ú"},
    {"ucircumflex", "û"},
    {"udiaeresis", "ü"},
    {"yacute", "ý"},
    {"thorn", "þ"},
    {"ydiaeresis", "ÿ"},
    {nullptr, nullptr},
};

namespace
{

constexpr int noHint = 0;
constexpr int shiftHint = ShiftMask | Mod2Mask;
constexpr int thirdLevelHint = Mod2Mask | Mod5Mask;

/// The keysym name for the first character of a key name, and the state that it usually needs.
struct CharacterName {
    ushort character;
    const char* keysymName; ///< null: the name is unchanged
    int stateHint;          ///< noHint: the hint is unchanged
};

/// Sorted by character.
constexpr CharacterName characterNames[] = {
    {8, "BackSpace", noHint},
    {9, "Tab", noHint},
    {10, "Return", noHint},
    {27, "Escape", noHint},
    {' ', "space", noHint},
    {'!', "exclam", shiftHint},
    {'"', "quotedbl", shiftHint},
    {'#', "numbersign", shiftHint},
    {'$', "dollar", shiftHint},
    {'%', "percent", shiftHint},
    {'&', "ampersand", shiftHint},
    {'\'', "apostrophe", shiftHint},
    {'(', "parenleft", shiftHint},
    {')', "parenright", shiftHint},
    {'*', "asterisk", shiftHint},
    {'+', "plus", noHint},
    {',', "comma", noHint},
    {'-', "minus", noHint},
    {'.', "period", noHint},
    {'/', "slash", noHint},
    {'0', nullptr, noHint},
    {'1', nullptr, noHint},
    {'2', nullptr, noHint},
    {'3', nullptr, noHint},
    {'4', nullptr, noHint},
    {'5', nullptr, noHint},
    {'6', nullptr, noHint},
    {'7', nullptr, noHint},
    {'8', nullptr, noHint},
    {'9', nullptr, noHint},
    {':', "colon", shiftHint},
    {';', "semicolon", shiftHint},
    {'<', "less", noHint},
    {'=', "equal", shiftHint},
    {'>', "greater", shiftHint},
    {'?', "question", shiftHint},
    {'@', "at", thirdLevelHint},
    {'[', "bracketleft", thirdLevelHint},
    {'\\', "backslash", thirdLevelHint},
    {']', "bracketright", thirdLevelHint},
    {'^', "asciicircum", shiftHint},
    {'_', "underscore", shiftHint},
    {'{', "braceleft", thirdLevelHint},
    {'|', "bar", thirdLevelHint},
    {'}', "braceright", thirdLevelHint},
    {'~', "asciitilde", thirdLevelHint},
    {127, "Delete", noHint},
};

const CharacterName* findCharacterName(ushort character)
{
    const auto* row = std::lower_bound(std::begin(characterNames), std::end(characterNames), character,
        [](const CharacterName& candidate, ushort wanted) { return candidate.character < wanted; });
    return row != std::end(characterNames) && row->character == character ? row : nullptr;
}

/// Replaces a name by that of its row in the table.
///
/// Deliberate: the first character alone decides, whatever follows it: every name that begins with a dollar
/// sign is "dollar".
QString applyCharacterName(const CharacterName& row, const QString& name, int* stateHint)
{
    if (row.stateHint != noHint)
        *stateHint = row.stateHint;
    return row.keysymName != nullptr ? QLatin1String(row.keysymName) : name;
}

/// The keysym of a name, or else of the first character of the original name, if X has a name for that value.
///
/// Deliberate: so an unknown name resolves to its first letter. The host knows which names are known.
XKeySym keysymOfNameOrCharacter(const QString& lookupName, QChar character)
{
    const XKeySym keysym = XStringToKeysym(lookupName.toLatin1().constData());
    if (keysym != NoSymbol)
        return keysym;
    return XKeysymToString(character.unicode()) != nullptr ? character.unicode() : NoSymbol;
}

/// The name of a character outside ASCII: its row in key_symbols, else its Unicode keysym name.
QString nonAsciiName(const QString& name)
{
    const QByteArray text = name.toUtf8();
    for (const KeySymbol* row = key_symbols; row->keysymName != nullptr; ++row) {
        if (text == row->text)
            return QLatin1String(row->keysymName);
    }
    const ushort character = name.at(0).unicode();
    // U+0100 itself gets no Unicode name.
    if (character <= 0x100)
        return name;
    return QStringLiteral("U%1").arg(QString::number(character, 16).toUpper(), 4, QLatin1Char('0'));
}

} // namespace

XKeySym XStringToKeysymEx(const QString& name, int* stateHint)
{
    const QChar first = name[0];
    QString lookupName = name;
    if (const CharacterName* row = findCharacterName(first.unicode()))
        lookupName = applyCharacterName(*row, name, stateHint);
    else if (first.unicode() >= 128)
        lookupName = nonAsciiName(name);
    return keysymOfNameOrCharacter(lookupName, first);
}

XKeySym XStringToKeysymEx2(const QString& name, int* stateHint)
{
    const QChar first = name[0];
    QString lookupName = name;
    if (const CharacterName* row = findCharacterName(first.unicode()))
        lookupName = applyCharacterName(*row, name, stateHint);
    else if (first.unicode() == 0xE9)
        lookupName = QStringLiteral("eacute");
    else if (first.unicode() == 0x20AC)
        lookupName = QStringLiteral("EuroSign");
    else if (name == QLatin1String("Backspace"))
        lookupName = QStringLiteral("BackSpace");
    else if (name == QLatin1String("PageDown"))
        lookupName = QStringLiteral("Next");
    else if (name == QLatin1String("PageUp"))
        lookupName = QStringLiteral("Prior");
    return keysymOfNameOrCharacter(lookupName, first);
}

} // namespace Zendra
