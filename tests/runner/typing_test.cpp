// The commands 'type' and 'send-to': what a client receives of a text.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "eventwindow.h"
#include "zendracommand.h"

#include <X11/Xlib.h>

namespace Zendra::Tests
{

namespace
{

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

/// The keysyms that a client gets to see, without the modifiers that it takes to reach them.
std::string pressedKeys(const Lines& lines)
{
    const std::string press = "KeyPress ";
    std::string keys;
    for (const std::string& line : lines) {
        const std::string name = line.substr(press.size(), line.find('(') - press.size());
        if (line.rfind(press, 0) == 0 && name != "Shift_L" && name != "ISO_Level3_Shift")
            keys += (keys.empty() ? "" : " ") + name;
    }
    return keys;
}

TEST(Type, NothingInATextHasAMeaning)
{
    const XServer server;
    EventWindow window(server);
    expectDone(zendra(server, {"type", "<Esc> +\\n"}));
    EXPECT_EQ(pressedKeys(window.take()), "less E s c greater space plus backslash n");
    expectDone(zendra(server, {"type", "--", "--json"}));
    EXPECT_EQ(pressedKeys(window.take()), "minus minus j s o n");
    expectDone(zendra(server, {"type", ""}));
    EXPECT_THAT(window.take(), ElementsAre());
}

TEST(Type, StandardInputWithTheLineEndsOfAnySystem)
{
    const XServer server;
    EventWindow window(server);
    expectDone(zendra(server, {"type", "-"}, "a\r\nb\rc\n\td"));
    EXPECT_EQ(pressedKeys(window.take()), "a Return b Return c Return Tab d");
    expectFailure(zendra(server, {"type", "-"}, "a\xff"), 2, "Standard input is not valid UTF-8");
    EXPECT_THAT(window.take(), ElementsAre());
}

TEST(Type, ControlCharactersAreRefusedBeforeADisplayIsOpened)
{
    expectFailure(zendra({"type", "é\x01"}), 2,
        "Character 2 of the text is the control character U+0001, which no key types");
    expectFailure(ZendraCommand({"type", "-"}, nullptr, std::string("a\0b", 3)).outcome(), 2, "U+0000");
    expectFailure(zendra({"send-to", "Editor", "\x1a"}), 2, "U+001a");
}

TEST(Type, TypesNothingIfTheKeyboardLacksACharacterAndStaysAsItIs)
{
    const XServer server;
    EventWindow window(server);
    expectFailure(zendra(server, {"type", "--no-remap", "aжb"}), 1,
        "Cannot type 'ж' (character 2 of the text): the keyboard layout has no key for it");
    // The words are those of the command alone: an emoji is one character, though two for the key map.
    expectFailure(
        zendra(server, {"type", "--no-remap", "ab😀c"}), 1, "Cannot type '😀' (character 3 of the text): ");
    expectFailure(zendra(server, {"keys", "--no-remap", "a😀"}), 1, "Cannot type '😀' (character 2 of 'a😀'): ");
    expectFailure(
        zendra(server, {"keys", "a<udiaeresis>"}), 1, "the keyboard layout has no key 'udiaeresis'");
    expectFailure(zendra(server, {"script", "-"}, "type a\nkeys --no-remap 'b\n\ttwo ж'\n"), 1,
        "standard input:2: Cannot type");
    expectFailure(zendra(server, {"send-to", "--no-remap", "nobody", "aж"}), 1, "Cannot type 'ж'");
    EXPECT_THAT(window.take(), ElementsAre());
}

TEST(Keys, WhatNumLockDecidesArrivesAsItIsNamed)
{
    const XServer server;
    EventWindow window(server);
    const auto arrives
        = [&window](const char* keysym) { EXPECT_THAT(pressedKeys(window.take()), HasSubstr(keysym)); };
    for (const char* numLock : {"", "<NumLock>"}) {
        expectDone(zendra(server, {"keys", std::string(numLock) + "<Num1>"}));
        arrives("KP_1");
        expectDone(zendra(server, {"keys", "<NumEnd>"}));
        arrives("KP_End");
        expectDone(zendra(server, {"press", "<Num7>"}));
        expectDone(zendra(server, {"release", "<Num7>"}));
        arrives("KP_7");
    }
    expectDone(zendra(server, {"keys", "<Break>"}));
    arrives("Break");
    expectFailure(zendra(server, {"keys", "a<Shift+Num1>"}), 1, "it would arrive as KP_End");
    EXPECT_THAT(window.take(), ElementsAre());
    expectFailure(zendra(server, {"press", "<Break>"}), 1, "it takes two keys; hold Ctrl, and press Pause");
    expectDone(zendra(server, {"keys", "--keep-modifiers", "a"}));
    EXPECT_THAT(
        window.take(), Contains(AllOf(StartsWith("KeyPress a"), EndsWith("state=16")))); // Num Lock stayed on
}

TEST(Type, ALongMistakeMakesNoLongMessage)
{
    const Outcome outcome = ZendraCommand({"type", "-"}, nullptr, std::string(100'000, '\xe9')).outcome();
    expectFailure(outcome, 2, "éé…')");
    EXPECT_LT(outcome.error.size(), 300U);
}

/// A window with a title, and one without that was shown later and so has the focus.
struct TwoWindows {
    explicit TwoWindows(const XServer& server)
        : titled(server)
        , focused(server)
    {
        const Connection connection(server);
        XStoreName(connection, titled.id(), "Untitled - Editor");
        connection.sync();
    }

    EventWindow titled;
    EventWindow focused;
};

TEST(SendTo, WithXTestTheTitleOnlyDecidesWhetherToType)
{
    const XServer server;
    TwoWindows windows(server);
    expectDone(zendra(server, {"send-to", "Untitled - Editor", "aB"}));
    EXPECT_EQ(pressedKeys(windows.focused.take()), "a B");
    expectFailure(
        zendra(server, {"send-to", "Editor", "a"}), 1, "Could not find a window with the name 'Editor'");
    EXPECT_THAT(windows.focused.take(), ElementsAre());
    EXPECT_THAT(windows.titled.take(), ElementsAre());
}

TEST(SendTo, WithoutXTestTheWindowGetsSyntheticEvents)
{
    const XServer server(withoutExtension("XTEST"));
    TwoWindows windows(server);
    expectDone(zendra(server, {"send-to", "Untitled - Editor", "-"}, "a\r\n"));
    EXPECT_THAT(windows.titled.take(),
        ElementsAre(AllOf(StartsWith("KeyPress a("), EndsWith(" sent")), EndsWith(" sent"),
            AllOf(StartsWith("KeyPress Return("), EndsWith(" sent")), EndsWith(" sent")));
    EXPECT_THAT(windows.focused.take(), ElementsAre());
}

} // namespace

} // namespace Zendra::Tests
