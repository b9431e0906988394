// Pointer actions, as requests on the wire and as events in another client's window.

#include <gtest/gtest.h>

#include <QElapsedTimer>

#include "puresession.h"

#include <X11/Xlib.h>

using namespace Zendra;
using namespace Zendra::Tests;

namespace
{

// Key codes of any PC keyboard under X.
const std::string shift = "50";
const std::string control = "37";
const std::string alt = "64";

const char* const missing = "XTest extension is missing on the display";

std::string movedTo(const PointerPosition& position)
{
    return std::to_string(position.success) + " @" + std::to_string(position.position.x) + ','
        + std::to_string(position.position.y) + " screen " + std::to_string(position.position.screen) + ' '
        + text(position.errorText);
}

} // namespace

TEST(Pointer, MouseButtonsHaveTheirXNumbers)
{
    const std::pair<int, int> buttons[] = {{1, 1}, {2, 2}, {4, 3}, {16, 1}, {32, 3}, {64, 8}, {128, 9}};
    for (const auto& [value, button] : buttons) {
        EXPECT_EQ(toX11Button(static_cast<MouseButton::Value>(value)).button, button);
        EXPECT_EQ(text(toX11Button(static_cast<MouseButton::Value>(value)).errorText), "");
    }
    for (const int value : {0, 3, 8, 255}) {
        const X11Button refused = toX11Button(static_cast<MouseButton::Value>(value));
        EXPECT_EQ(refused.button, 0);
        EXPECT_EQ(text(refused.errorText), "Unsupported mouse button value: " + std::to_string(value));
    }
}

TEST(Pointer, MovesOnTheScreenThatIsAskedFor)
{
    const XServer server(withScreens({"800x600x24", "640x480x16"}));
    PureSession session(server);
    EXPECT_EQ(session.requestsOf([&] {
        session->pointerMove({10, 20, -1});
        session->pointerMove({30, 40, 1});
    }),
        (Lines {"XTestGetVersion", "FakeMotion 10,20 root=none", "XTestGetVersion",
            "FakeMotion 30,40 root=root1"}));
}

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
    EXPECT_EQ(session.requestsOf([&] {
        EXPECT_EQ(text(session->pointerButton(static_cast<MouseButton::Value>(8), true, 1)),
            "Unsupported mouse button value: 8");
    }),
        (Lines {"XTestGetVersion"}));
}

TEST(Pointer, TheWheelRollsByClicks)
{
    const XServer server;
    PureSession session(server);
    EXPECT_EQ(
        session.requestsOf([&] { EXPECT_EQ(text(session->wheelRoll(0)), ""); }), (Lines {"XTestGetVersion"}));
    EXPECT_EQ(session.requestsOf([&] { EXPECT_EQ(text(session->wheelRoll(2)), ""); }),
        (Lines {"XTestGetVersion", "FakeButtonPress 4", "FakeButtonRelease 4", "FakeButtonPress 4",
            "FakeButtonRelease 4"}));
    EXPECT_EQ(session.requestsOf([&] { EXPECT_EQ(text(session->wheelRoll(-3)), ""); }),
        (Lines {"XTestGetVersion", "FakeButtonPress 5", "FakeButtonRelease 5", "FakeButtonPress 5",
            "FakeButtonRelease 5", "FakeButtonPress 5", "FakeButtonRelease 5"}));
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
        (Lines {"XTestGetVersion", "FakeMotion 100,50 root=none", "FakeKeyPress " + shift + " after 1 ms",
            "FakeKeyPress " + alt + " after 1 ms", "FakeButtonPress 1 after 3 ms",
            "FakeMotion 120,40 root=none after 20 ms", "FakeButtonRelease 1 after 25 ms",
            "FakeKeyRelease " + shift + " after 30 ms", "FakeKeyRelease " + alt + " after 30 ms"}));
    EXPECT_EQ(only({"Button", "Motion"}, window.take(8)),
        (Lines {"Motion @100,50 state=0", "ButtonPress 1 @100,50 state=9", "Motion @120,40 state=265",
            "ButtonRelease 1 @120,40 state=265"}));

    EXPECT_EQ(only({"FakeKey"}, session.requestsOf([&] {
        session->pointerDrag({1, 1, -1}, 2, 2, 2);
    })),
        (Lines {"FakeKeyPress " + control + " after 1 ms", "FakeKeyRelease " + control + " after 30 ms"}));
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
}

TEST(Pointer, WithoutXTestNothingIsSent)
{
    const XServer server(withoutExtension("XTEST"));
    PureSession session(server);
    session->haveXTest(); // Xlib asks for the extension once
    const unsigned long request = NextRequest(session.display());
    EXPECT_EQ(text(session->pointerMove({1, 2, -1})), missing);
    EXPECT_EQ(text(session->pointerButton(MouseButton::Left, true, 1)), missing);
    EXPECT_EQ(text(session->pointerButton(MouseButton::Left, true, {1, 2, -1}, 1)), missing);
    EXPECT_EQ(text(session->wheelRoll(0)), missing);
    EXPECT_EQ(text(session->keyCode(30, 0, NativeKeyCodeSet::Default, true)), missing);
    const DragResult drag = session->pointerDrag({1, 2, -1}, 3, 4, 1);
    EXPECT_EQ(drag.settleTime, 0);
    EXPECT_EQ(text(drag.errorText), missing);
    EXPECT_EQ(NextRequest(session.display()), request);
    session->pointerWarp({21, 22, -1});
    EXPECT_EQ(movedTo(session->pointerPosition()), "1 @21,22 screen -1 ");
}

TEST(Pointer, TouchIsNotSupported)
{
    const XServer server;
    PureSession session(server);
    EXPECT_EQ(session.requestsOf([&] {
        EXPECT_EQ(text(session->touch(TouchType::Begin, {1, 2, -1}, 3, 4)), "Stub");
        EXPECT_EQ(text(session->tap({1, 2, -1}, 3)), "Stub");
    }),
        Lines {});
}

TEST(Pointer, ThePrimitivesWaitAfterTheEvent)
{
    const XServer server;
    PureSession session(server);
    const auto milliseconds = [](const auto& operation) {
        QElapsedTimer clock;
        clock.start();
        operation();
        return clock.elapsed();
    };
    EXPECT_EQ(session.requestsOf([&] {
        EXPECT_GE(milliseconds([&] { session->fakeButton(2, true); }), 40);
        EXPECT_GE(milliseconds([&] { session->fakeKey(38, true); }), 40);
        EXPECT_GE(milliseconds([&] { session->fakeMotion(7, 8, 15); }), 15);
        session->fakeKey(38, false);
        session->fakeButton(2, false);
    }),
        (Lines {"FakeButtonPress 2", "FakeKeyPress 38", "FakeMotion 7,8 root=none", "FakeKeyRelease 38",
            "FakeButtonRelease 2"}));
}
