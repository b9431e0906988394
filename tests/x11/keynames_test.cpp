// From key names to keysyms (the two resolvers), and on to keys of a US keyboard.

#include <gtest/gtest.h>

#include "nativeinterface_x11_keynames.h"
#include "puresession.h"

#include <X11/Xlib.h>
#include <X11/keysym.h>

using namespace Zendra;
using namespace Zendra::Tests;

namespace
{

constexpr int untouched = -1;

using Resolver = XKeySym (*)(const QString&, int*);

struct Resolved {
    XKeySym keysym;
    int hint;

    bool operator==(const Resolved& other) const { return keysym == other.keysym && hint == other.hint; }
};

void PrintTo(const Resolved& resolved, std::ostream* stream)
{
    const char* name = XKeysymToString(resolved.keysym);
    *stream << resolved.keysym << ' ' << (name != nullptr ? name : "(no name)") << ", hint " << resolved.hint;
}

Resolved resolve(Resolver resolver, const QString& name)
{
    int hint = untouched;
    const XKeySym keysym = resolver(name, &hint);
    return {keysym, hint};
}

Resolved typing(const char* name)
{
    return resolve(&XStringToKeysymEx, QString::fromUtf8(name));
}

Resolved special(const char* name)
{
    return resolve(&XStringToKeysymEx2, QString::fromUtf8(name));
}

Resolved plain(XKeySym keysym)
{
    return {keysym, untouched};
}

} // namespace

TEST(KeySymbolTable, HasItsRowsInOrder)
{
    std::vector<uint> characters;
    const KeySymbol* row = key_symbols;
    for (; row->keysymName != nullptr; ++row) {
        const QString character = QString::fromUtf8(row->text);
        ASSERT_EQ(character.size(), 1) << row->keysymName;
        characters.push_back(character.at(0).unicode());
        // The keysyms of Latin-1 have the values of their characters.
        const std::string name = row->keysymName;
        const bool isKnownToX = name != "oneosuperior" && name != "threequarter";
        if (characters.back() < 0x100) {
            EXPECT_EQ(XStringToKeysym(row->keysymName), isKnownToX ? characters.back() : NoSymbol) << name;
        }
    }
    EXPECT_EQ(row->text, nullptr);

    std::vector<uint> expected {0x20AC};
    for (uint character = 0xA1; character <= 0xFF; ++character) {
        const bool isMissing = character == 0xA8 || character == 0xAD || character == 0xAF
            || character == 0xB4 || character == 0xB7 || character == 0xB8;
        if (!isMissing)
            expected.push_back(character);
        if (character == 0xD4)
            expected.push_back(0x150);
        if (character == 0xF4)
            expected.push_back(0x151);
    }
    EXPECT_EQ(characters, expected);
    EXPECT_EQ(characters.size(), 92U);
    EXPECT_STREQ(key_symbols[0].keysymName, "EuroSign");
}

TEST(Resolvers, TheFirstCharacterDecides)
{
    constexpr int shiftHint = 17;
    constexpr int thirdLevelHint = 144;
    const std::tuple<const char*, const char*, int> rows[] = {{"\b", "BackSpace", untouched},
        {"\t", "Tab", untouched}, {"\n", "Return", untouched}, {"\x1b", "Escape", untouched},
        {" ", "space", untouched}, {"!", "exclam", shiftHint}, {"\"", "quotedbl", shiftHint},
        {"#", "numbersign", shiftHint}, {"$", "dollar", shiftHint}, {"%", "percent", shiftHint},
        {"&", "ampersand", shiftHint}, {"'", "apostrophe", shiftHint}, {"(", "parenleft", shiftHint},
        {")", "parenright", shiftHint}, {"*", "asterisk", shiftHint}, {"+", "plus", untouched},
        {",", "comma", untouched}, {"-", "minus", untouched}, {".", "period", untouched},
        {"/", "slash", untouched}, {"0", "0", untouched}, {"9", "9", untouched}, {":", "colon", shiftHint},
        {";", "semicolon", shiftHint}, {"<", "less", untouched}, {"=", "equal", shiftHint},
        {">", "greater", shiftHint}, {"?", "question", shiftHint}, {"@", "at", thirdLevelHint},
        {"[", "bracketleft", thirdLevelHint}, {"\\", "backslash", thirdLevelHint},
        {"]", "bracketright", thirdLevelHint}, {"^", "asciicircum", shiftHint},
        {"_", "underscore", shiftHint}, {"{", "braceleft", thirdLevelHint}, {"|", "bar", thirdLevelHint},
        {"}", "braceright", thirdLevelHint}, {"~", "asciitilde", thirdLevelHint},
        {"\x7f", "Delete", untouched}, {"$HOME", "dollar", shiftHint}, {"@@", "at", thirdLevelHint}};
    for (const auto& [name, keysymName, hint] : rows) {
        const Resolved expected {XStringToKeysym(keysymName), hint};
        EXPECT_EQ(typing(name), expected) << name;
        EXPECT_EQ(special(name), expected) << name;
    }
}

TEST(Resolvers, KnowKeysymNamesAndLetters)
{
    for (const auto& resolver : {&typing, &special}) {
        EXPECT_EQ(resolver("Return"), plain(XK_Return));
        EXPECT_EQ(resolver("F5"), plain(XK_F5));
        EXPECT_EQ(resolver("Next"), plain(XK_Next));
        EXPECT_EQ(resolver("udoubleacute"), plain(XK_udoubleacute));
        EXPECT_EQ(resolver("q"), plain(XK_q));
        EXPECT_EQ(resolver("`"), plain(XK_grave)); // no name: the character itself
        EXPECT_EQ(resolver("\x01"), plain(NoSymbol));
        EXPECT_EQ(resolver("quux"), plain(XK_q)); // no name either: its first character
        EXPECT_EQ(resolver("é"), plain(XK_eacute));
        EXPECT_EQ(resolver("€"), plain(XK_EuroSign));
    }
}

TEST(Resolvers, OnlySpecialKeysHaveAliases)
{
    EXPECT_EQ(special("Backspace"), plain(XK_BackSpace));
    EXPECT_EQ(special("PageDown"), plain(XK_Next));
    EXPECT_EQ(special("PageUp"), plain(XK_Prior));
    EXPECT_EQ(special("pageup"), plain(XK_p));
    EXPECT_EQ(typing("Backspace"), plain(XK_B));
    EXPECT_EQ(typing("PageDown"), plain(XK_P));
    EXPECT_EQ(typing("PageUp"), plain(XK_P));
}

TEST(Resolvers, OnlyTypingKnowsCharactersBeyondAscii)
{
    for (ushort character = 0xA0; character <= 0xFF; ++character)
        EXPECT_EQ(resolve(&XStringToKeysymEx, QString(QChar(character))), plain(character)) << character;
    EXPECT_EQ(typing("Ő"), plain(XK_Odoubleacute));
    EXPECT_EQ(typing("ő"), plain(XK_odoubleacute));
    EXPECT_EQ(typing("ā"), plain(XStringToKeysym("U0101")));
    EXPECT_EQ(typing("я"), plain(XStringToKeysym("U044F")));
    EXPECT_EQ(typing("я"), plain(0x0100044F));
    EXPECT_EQ(typing("Ā"), plain(NoSymbol));   // U+0100 itself has no Unicode name here
    EXPECT_EQ(typing("éa"), plain(XK_eacute)); // no row: back to the first character
    EXPECT_EQ(special("я"), plain(NoSymbol));
    EXPECT_EQ(special("ő"), plain(NoSymbol));
}

TEST(KeyLookup, GoesFromNamesToKeys)
{
    const XServer server(withLayout("us"));
    PureSession session(server);
    const auto line = [](const KeyStroke& stroke) {
        return stroke.errorText.isEmpty()
            ? std::to_string(stroke.keyCode) + ' ' + std::to_string(stroke.state)
            : std::to_string(stroke.keyCode) + ' ' + text(stroke.errorText);
    };
    const auto host = [&](const char* name, int modifiers) {
        return line(session->stateAndKeyCode(QString::fromUtf8(name), modifiers));
    };
    EXPECT_EQ(host("a", NoModifier), "38 0");
    EXPECT_EQ(host("PgUp", NoModifier), "112 0");
    EXPECT_EQ(host("Ctrl", NoModifier), "37 0");
    EXPECT_EQ(host("A", ShiftModifier), "38 1");
    EXPECT_EQ(host("a", ShiftModifier), "38 0");
    EXPECT_EQ(host("a", ControlModifier), "38 4");
    EXPECT_EQ(host("A", AltModifier), "38 9");
    EXPECT_EQ(host("a", ControlModifier | AltModifier), "38 8"); // one modifier at the most
    EXPECT_EQ(host("ű", AltModifier),
        "0 Could not translate the symbol " + std::to_string(XK_udoubleacute) + " into a keycode");

    const auto specialKey = [&](const char* name) {
        return line(session->convertStringToStateAndKeyCode(QString::fromUtf8(name)));
    };
    const std::pair<const char*, const char*> specialKeys[]
        = {{"Ctrl", "37 0"}, {"Alt", "64 0"}, {"Shift", "50 0"}, {"Win", "133 0"}, {"WinLeft", "133 0"},
            {"WinRight", "134 0"}, {"Escape", "9 0"}, {"PageUp", "112 0"}, {"ctrl", "54 0"}, {"A", "38 1"}};
    for (const auto& [name, key] : specialKeys) {
        EXPECT_EQ(specialKey(name), key) << name;
        EXPECT_TRUE(session->isValidSpecialKey(QLatin1String(name))) << name;
    }
    EXPECT_FALSE(session->isValidSpecialKey(QStringLiteral("Greek_alpha")));
}
