// Pointer actions, as requests on the wire and as events in another client's window.

#include <gtest/gtest.h>

#include "puresession.h"

#include <X11/Xlib.h>

using namespace Zendra;
using namespace Zendra::Tests;

namespace
{

const char* const missing = "XTest extension is missing on the display";

std::string movedTo(const PointerPosition& position)
{
    return std::to_string(position.success) + " @" + std::to_string(position.position.x) + ','
        + std::to_string(position.position.y) + " screen " + std::to_string(position.position.screen) + ' '
        + text(position.errorText);
}

} // namespace

TEST(Pointer, ButtonsActWhereThePointerIs)
{
    const XServer server;
    PureSession session(server);
    EventWindow window(server);
    session->pointerMove({50, 60, -1});
    EXPECT_EQ(session.requestsOf([&] {
        session->pointerButton(MouseButton::Secondary, true, 1);
        session->pointerButton(MouseButton::Secondary, false, {500, 400, -1}, 1);
    }),
        (Lines {"XTestGetVersion", "FakeButtonPress 3", "XTestGetVersion", "FakeButtonRelease 3"}));
    EXPECT_EQ(window.take(3),
        (Lines {
            "Motion @50,60 state=0", "ButtonPress 3 @50,60 state=0", "ButtonRelease 3 @50,60 state=1024"}));
}

TEST(Pointer, TheWheelRollsByClicks)
{
    const XServer server;
    PureSession session(server);
    EXPECT_EQ(session.requestsOf([&] { EXPECT_EQ(text(session->wheelRoll(2)), ""); }),
        (Lines {"XTestGetVersion", "FakeButtonPress 4", "FakeButtonRelease 4", "FakeButtonPress 4",
            "FakeButtonRelease 4"}));
    EXPECT_EQ(session.requestsOf([&] { EXPECT_EQ(text(session->wheelRoll(-1)), ""); }),
        (Lines {"XTestGetVersion", "FakeButtonPress 5", "FakeButtonRelease 5"}));
}

TEST(Pointer, ADragLeavesTheWaitingToTheServer)
{
    const XServer server;
    PureSession session(server);
    EventWindow window(server);
    EXPECT_EQ(session.requestsOf([&] {
        const DragResult result = session->pointerDrag({100, 50, 0}, 20, -10, 5);
        EXPECT_EQ(result.settleTime, 40);
        EXPECT_EQ(text(result.errorText), "");
    }),
        (Lines {"XTestGetVersion", "FakeMotion 100,50 root=none", "FakeKeyPress 50 after 1 ms",
            "FakeKeyPress 64 after 1 ms", "FakeButtonPress 1 after 3 ms",
            "FakeMotion 120,40 root=none after 20 ms", "FakeButtonRelease 1 after 25 ms",
            "FakeKeyRelease 50 after 30 ms", "FakeKeyRelease 64 after 30 ms"}));
    EXPECT_EQ(only({"Button", "Motion"}, window.take(8)),
        (Lines {"Motion @100,50 state=0", "ButtonPress 1 @100,50 state=9", "Motion @120,40 state=265",
            "ButtonRelease 1 @120,40 state=265"}));
}

TEST(Pointer, WarpsAtOnceAndWaitsForTheServer)
{
    const XServer server(withScreens({"800x600x24", "640x480x16"}));
    PureSession session(server);
    session->supressFlush(true); // a warp does not care
    for (const int screen : {-1, 0, 7}) {
        WireTap tap(server, session.display());
        EXPECT_EQ(text(session->pointerWarp({5, 6, screen})), "");
        EXPECT_EQ(tap.finishUnflushed(), (Lines {"WarpPointer none -> root0 5,6", "GetInputFocus"}));
    }
    EXPECT_EQ(movedTo(session->pointerPosition()), "1 @5,6 screen -1 ");

    EXPECT_EQ(session.requestsOf([&] {
        session->pointerWarp({8, 9, 1});
    }),
        (Lines {"WarpPointer none -> root1 8,9", "GetInputFocus"}));
    // The pointer is on another screen than the one that is asked.
    EXPECT_EQ(movedTo(session->pointerPosition()), "0 @0,0 screen -1 XQueryPointer failed");
}

TEST(Pointer, ScreensMayDifferInDepth)
{
    const XServer server(withScreens({"800x600x24", "640x480x16"}));
    PureSession session(server);
    EventWindow window(server, 1);
    session->pointerWarp({33, 44, 1}); // on from there; the server leaves a screen for a warp only
    session->pointerClick(MouseButton::Left, {34, 45, -1}, NoModifier, 1);
    EXPECT_EQ(window.take(4),
        (Lines {"Motion @33,44 state=0", "Motion @34,45 state=0", "ButtonPress 1 @34,45 state=0",
            "ButtonRelease 1 @34,45 state=256"}));
    EXPECT_EQ(session.requestsOf([&] {
        session->pointerMove({30, 40, 1});
    }),
        (Lines {"XTestGetVersion", "FakeMotion 30,40 root=root1"}));
}

TEST(Pointer, WithoutXTestNothingIsSent)
{
    const XServer server(withoutExtension("XTEST"));
    PureSession session(server);
    session->haveXTest(); // Xlib asks for the extension once
    const unsigned long request = NextRequest(session.display());
    EXPECT_EQ(text(session->pointerMove({1, 2, -1})), missing);
    EXPECT_EQ(text(session->pointerButton(MouseButton::Left, true, 1)), missing);
    EXPECT_EQ(text(session->wheelRoll(0)), missing);
    EXPECT_EQ(text(session->keyCode(30, 0, NativeKeyCodeSet::Default, true)), missing);
    EXPECT_EQ(text(session->pointerDrag({1, 2, -1}, 3, 4, 1).errorText), missing);
    EXPECT_EQ(text(session->pointerDragAndDropBegin({1, 2, -1}, MouseButton::Left, 9)), missing);
    EXPECT_EQ(text(session->pointerDragAndDropEnd({1, 2, -1}, MouseButton::Left, 7, true)), missing);
    EXPECT_EQ(NextRequest(session.display()), request);
    session->pointerWarp({21, 22, -1});
    EXPECT_EQ(movedTo(session->pointerPosition()), "1 @21,22 screen -1 ");
}
