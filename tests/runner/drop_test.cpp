// The command 'drop': what a client receives of a drag and drop.

#include <algorithm>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "eventwindow.h"
#include "zendracommand.h"

#include <X11/Xlib.h>
#include <X11/keysym.h>

namespace Zendra::Tests
{

namespace
{

using testing::ElementsAre;
using testing::StartsWith;

/// The lines without those of the pointer's motion.
Lines withoutMotion(Lines lines)
{
    const auto isMotion = [](const std::string& line) { return line.rfind("Motion", 0) == 0; };
    lines.erase(std::remove_if(lines.begin(), lines.end(), isMotion), lines.end());
    return lines;
}

TEST(Drop, HoldsModifiersUntilItIsOver)
{
    const XServer server;
    EventWindow window(server);
    expectDone(zendra(server,
        {"drop", "50", "60", "250", "160", "--button", "right", "--ctrl", "--shift", "--distance", "20"}));
    const Lines lines = window.take();
    EXPECT_THAT(withoutMotion(lines),
        ElementsAre("ButtonPress 3 @50,60 state=0", StartsWith("KeyPress Control_L("),
            StartsWith("KeyPress Shift_L("), "ButtonRelease 3 @250,160 state=1029",
            StartsWith("KeyRelease Control_L("), StartsWith("KeyRelease Shift_L(")));
    // The first steps are as wide as the program wants to see.
    EXPECT_THAT(lines, testing::Contains("Motion @50,40 state=1024"));
    expectDone(zendra(server, {"where"}), "250 160\n");
}

TEST(Drop, ThatFailsLeavesNothingPressed)
{
    const XServer server;
    EventWindow window(server);
    {
        // A keyboard with Ctrl but without Shift.
        const Connection connection(server);
        for (const KeySym keysym : {XK_Shift_L, XK_Shift_R}) {
            KeySym none = NoSymbol;
            XChangeKeyboardMapping(connection, XKeysymToKeycode(connection, keysym), 1, &none, 1);
        }
        connection.sync();
    }
    expectFailure(
        zendra(server, {"drop", "50", "60", "250", "160", "--ctrl", "--shift"}), 1, "Could not translate");
    EXPECT_THAT(withoutMotion(window.take()),
        ElementsAre(StartsWith("ButtonPress 1 "), StartsWith("KeyPress Control_L("),
            StartsWith("ButtonRelease 1 "), StartsWith("KeyRelease Control_L(")));
}

} // namespace

} // namespace Zendra::Tests
