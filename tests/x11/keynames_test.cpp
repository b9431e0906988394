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

TEST(Resolvers, TheFirstCharacterDecides)
{
    constexpr int shiftHint = 17;
    constexpr int thirdLevelHint = 144;
    const std::tuple<const char*, const char*, int> rows[]
        = {{"\n", "Return", untouched}, {"+", "plus", untouched}, {"?", "question", shiftHint},
            {"@", "at", thirdLevelHint}, {"$HOME", "dollar", shiftHint}};
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
        EXPECT_EQ(resolver("udoubleacute"), plain(XK_udoubleacute));
        EXPECT_EQ(resolver("q"), plain(XK_q));
        EXPECT_EQ(resolver("`"), plain(XK_grave)); // no name: the character itself
        EXPECT_EQ(resolver("\x01"), plain(NoSymbol));
        EXPECT_EQ(resolver("quux"), plain(XK_q)); // no name either: its first character
        EXPECT_EQ(resolver("€"), plain(XK_EuroSign));
    }
}

TEST(Resolvers, OnlyTypingKnowsCharactersBeyondAscii)
{
    for (ushort character = 0xA0; character <= 0xFF; ++character)
        EXPECT_EQ(resolve(&XStringToKeysymEx, QString(QChar(character))), plain(character)) << character;
    EXPECT_EQ(typing("ő"), plain(XK_odoubleacute));
    EXPECT_EQ(typing("я"), plain(0x0100044F));
    EXPECT_EQ(typing("Ā"), plain(NoSymbol));   // U+0100 itself has no Unicode name here
    EXPECT_EQ(typing("éa"), plain(XK_eacute)); // no row: back to the first character
    EXPECT_EQ(special("я"), plain(NoSymbol));
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
    EXPECT_EQ(host("A", ShiftModifier), "38 1");
    EXPECT_EQ(host("a", ShiftModifier), "38 0");
    EXPECT_EQ(host("a", ControlModifier), "38 4");
    EXPECT_EQ(host("A", AltModifier), "38 9");
    EXPECT_EQ(host("a", ControlModifier | AltModifier), "38 8"); // one modifier at the most
    EXPECT_EQ(host("ű", AltModifier), "0 " + noKey(XK_udoubleacute));

    const auto specialKey = [&](const char* name) {
        return line(session->convertStringToStateAndKeyCode(QString::fromUtf8(name)));
    };
    const std::pair<const char*, const char*> specialKeys[] = {{"Ctrl", "37 0"}, {"WinRight", "134 0"},
        {"Escape", "9 0"}, {"PageUp", "112 0"}, {"ctrl", "54 0"}, {"A", "38 1"}};
    for (const auto& [name, key] : specialKeys) {
        EXPECT_EQ(specialKey(name), key) << name;
        EXPECT_TRUE(session->isValidSpecialKey(QLatin1String(name))) << name;
    }
    EXPECT_FALSE(session->isValidSpecialKey(QStringLiteral("Greek_alpha")));
}
