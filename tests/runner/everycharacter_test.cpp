// Text that the keyboard layout has no keys for: what arrives, and that the keyboard is as before.

#include <csignal>
#include <optional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "textwindow.h"
#include "wait.h"
#include "zendracommand.h"

#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/extensions/XInput.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

namespace Zendra::Tests
{

namespace
{

using testing::HasSubstr;

const std::string hardText = "naïve ÁÑØ ƒœŠ αβΩ жЖя שלום ไทย हिन्दी 한글 漢字 e\u0301 😀 👩\u200d💻 ´\tend";

/// The keymap in all its parts, the state of the locks, and what this command keeps on the root window.
std::string keyboard(const XServer& server)
{
    const Connection connection(server);
    XkbStateRec state {};
    XkbGetState(connection, XkbUseCoreKbd, &state);
    const Atom journal = XInternAtom(connection, "_ZENDRA_KEYBOARD", False);
    int properties = 0;
    XFree(XListProperties(connection, DefaultRootWindow(connection.get()), &properties));
    return shell(server, "xkbcomp $DISPLAY - 2>/dev/null | md5sum").output + "locked "
        + std::to_string(state.mods) + " group " + std::to_string(state.group) + " owner "
        + std::to_string(XGetSelectionOwner(connection, journal)) + " properties "
        + std::to_string(properties);
}

/// As many characters that no layout has.
std::string ideographs(int count)
{
    QString text;
    for (int index = 0; index < count; ++index)
        text += QChar(0x4E00 + index);
    return text.toStdString();
}

void expectTyped(
    const XServer& server, TextWindow& window, const std::string& command, const std::string& text)
{
    expectDone(zendra(server, {command, "-"}, text));
    EXPECT_EQ(window.take(text.size()), text) << command;
}

TEST(EveryCharacter, ArrivesOnEveryLayoutAndLeavesTheKeyboardAsItWas)
{
    for (const char* layout : {"us", "de", "gr", "us,gr", "cz,ru"}) {
        const XServer server(withLayout(layout));
        TextWindow window(server);
        expectDone(zendra(server, {"keys", "<CapsLock><NumLock>"}));
        const Connection connection(server);
        XkbLockGroup(connection, XkbUseCoreKbd, 1); // where there is one
        connection.sync();
        const std::string before = keyboard(server);
        EXPECT_THAT(before, HasSubstr("locked 18"));
        expectTyped(server, window, "type", hardText);
        expectTyped(server, window, "type", ideographs(700));
        expectDone(zendra(server, {"keys", "ÅбB"}));
        EXPECT_EQ(window.take(5), "ÅбB");
        EXPECT_EQ(keyboard(server), before) << layout;
    }
}

TEST(EveryCharacter, ArrivesInAProgramThatSleepsWhileItHandlesAKey)
{
    const XServer server;
    TextWindow window(server, 3);
    expectTyped(server, window, "type", ideographs(400));
}

TEST(EveryCharacter, IsRestoredAfterACommandWasKilled)
{
    for (const Words& next : {Words {"info"}, Words {"type", "é"}}) {
        const XServer server;
        const TextWindow window(server);
        expectDone(zendra(server, {"keys", "<CapsLock>"}));
        const std::string before = keyboard(server);
        ZendraCommand killed({"type", "--delay", "100", "жЖ" + ideographs(200)}, &server);
        EXPECT_TRUE(waitFor([&] { return keyboard(server) != before; }));
        killed.signal(SIGKILL);
        killed.outcome();
        EXPECT_NE(keyboard(server), before);
        EXPECT_EQ(zendra(server, next).status, 0);
        EXPECT_EQ(keyboard(server), before);
    }
}

TEST(EveryCharacter, LeavesNothingBehindWhenInterrupted)
{
    const XServer server;
    std::optional<TextWindow> window(server);
    const std::string before = keyboard(server);
    ZendraCommand command({"type", "--delay", "50", ideographs(300)}, &server);
    EXPECT_TRUE(waitFor([&] { return keyboard(server) != before; }));
    command.signal(SIGTERM);
    expectFailure(command.outcome(), 1, "Interrupted");
    EXPECT_EQ(keyboard(server), before);
    ZendraCommand toNobody({"type", "--delay", "2", ideographs(300)}, &server);
    EXPECT_TRUE(waitFor([&] { return keyboard(server) != before; }));
    window.reset();
    expectDone(toNobody.outcome());
    EXPECT_EQ(keyboard(server), before);
}

TEST(EveryCharacter, IsTypedByOneCommandAfterTheOther)
{
    const XServer server;
    TextWindow window(server);
    const std::string first = ideographs(100) + "ж";
    const std::string second = "Ωmega é";
    ZendraCommand one({"type", "--delay", "5", first}, &server);
    ZendraCommand two({"type", "--delay", "5", second}, &server);
    expectDone(one.outcome());
    expectDone(two.outcome());
    EXPECT_THAT(window.take(first.size() + second.size()), testing::AnyOf(first + second, second + first));
}

TEST(EveryCharacter, FollowsTheLayoutFromLineToLine)
{
    XServer server(withLayout("us"));
    TextWindow window(server);
    ZendraCommand script(
        {"script", "-"}, &server, "type z;/\nkeys z\nwait-window German\ntype z;/\nkeys <z>\n");
    EXPECT_EQ(window.take(4), "z;/z");
    server.setLayout("de");
    const Connection connection(server);
    const Window sign
        = XCreateSimpleWindow(connection, DefaultRootWindow(connection.get()), 500, 400, 9, 9, 0, 0, 0);
    XStoreName(connection, sign, "German");
    XMapWindow(connection, sign);
    connection.sync();
    expectDone(script.outcome());
    EXPECT_EQ(window.take(4), "z;/z");
}

TEST(EveryCharacter, ALayoutLoadedMeanwhileIsReported)
{
    for (const std::string text : {"zzz", "漢字z"}) {
        XServer server(withLayout("us"));
        TextWindow window(server);
        ZendraCommand command({"type", "--delay", "20", text + std::string(100, 'z')}, &server);
        window.take(text.size() + 1);
        server.setLayout("de");
        expectFailure(command.outcome(), 1, "The keyboard layout was changed meanwhile");
    }
}

TEST(EveryCharacter, HeldModifiersAreLiftedUnlessTheyAreMeant)
{
    const XServer server;
    TextWindow window(server);
    expectDone(zendra(server, {"press", "<Shift>"}));
    expectTyped(server, window, "type", "aé1");
    expectDone(zendra(server, {"type", "--keep-modifiers", "a"}));
    EXPECT_EQ(window.take(1), "A");
    expectDone(zendra(server, {"release", "<Shift>"}));
    expectDone(zendra(server, {"script", "-"}, "press <Shift>\nkeys b\nrelease <Shift>\n"));
    EXPECT_EQ(window.take(1), "B");
}

TEST(EveryCharacter, AKeyHeldOnAnotherKeyboardIsDownAgainAfterwards)
{
    const XServer server;
    TextWindow window(server);
    const Connection connection(server);
    constexpr XID xvfbKeyboard = 7;
    XDevice* keyboard = XOpenDevice(connection, xvfbKeyboard);
    ASSERT_NE(keyboard, nullptr);
    const auto shift = [&](bool press) {
        const KeyCode code = XKeysymToKeycode(connection, XK_Shift_L);
        XTestFakeDeviceKeyEvent(connection, keyboard, code, press ? True : False, nullptr, 0, 0);
        XkbStateRec state {};
        XkbGetState(connection, XkbUseCoreKbd, &state);
        return state.base_mods;
    };
    EXPECT_EQ(shift(true), ShiftMask);
    expectTyped(server, window, "type", "aé");
    XkbStateRec state {};
    XkbGetState(connection, XkbUseCoreKbd, &state);
    EXPECT_EQ(state.base_mods, ShiftMask);
    EXPECT_EQ(shift(false), 0);
    XCloseDevice(connection, keyboard);
}

} // namespace

} // namespace Zendra::Tests
