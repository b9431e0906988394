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

using Resolver = XKeySym (*)(const QString&, int*);

/// A keysym's name, and the hint where one is given: "question 17".
std::string resolve(Resolver resolver, const char* name)
{
    int hint = 0;
    const XKeySym keysym = resolver(QString::fromUtf8(name), &hint);
    const char* keysymName = XKeysymToString(keysym);
    return (keysymName != nullptr ? keysymName : "none") + (hint != 0 ? ' ' + std::to_string(hint) : "");
}

} // namespace

TEST(Resolvers, GoFromNamesToKeysyms)
{
    const std::tuple<const char*, const char*, const char*> rows[] = {{"\n", "Return", "Return"},
        {"$HOME", "dollar 17", "dollar 17"}, {"@", "at 144", "at 144"},
        {"udoubleacute", "udoubleacute", "udoubleacute"}, {"`", "grave", "grave"}, {"\x01", "none", "none"},
        {"quux", "q", "q"}, {"€", "EuroSign", "EuroSign"}, {"ő", "odoubleacute", "none"},
        {"я", "U044F", "none"}, {"Ā", "none", "none"}, {"éa", "eacute", "eacute"}};
    for (const auto& [name, typed, special] : rows) {
        EXPECT_EQ(resolve(&XStringToKeysymEx, name), typed) << name;
        EXPECT_EQ(resolve(&XStringToKeysymEx2, name), special) << name;
    }
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
