// Drag and drop: every step of the pointer, as requests on the wire and as events in another client's window.

#include <gtest/gtest.h>

#include <QElapsedTimer>

#include "puresession.h"

#include <X11/Xlib.h>

using namespace Zendra;
using namespace Zendra::Tests;

namespace
{

using Places = std::vector<std::pair<int, int>>;

// The way round the start, and the same way backwards.
const Places square {{0, -1}, {1, -1}, {1, 0}, {1, 1}, {0, 1}, {-1, 1}, {-1, 0}, {-1, -1}, {0, -1}, {0, 0}};
const Places squareBackwards {
    {0, 1}, {1, 1}, {1, 0}, {1, -1}, {0, -1}, {-1, -1}, {-1, 0}, {-1, 1}, {0, 1}, {0, 0}};

/// The requests of moves to `places`, which are multiplied by `scale` and counted from `x`, `y`.
Lines moves(const Places& places, int scale = 1, int x = 0, int y = 0)
{
    Lines lines;
    for (const auto& [dx, dy] : places) {
        lines.push_back("FakeMotion " + std::to_string(x + scale * dx) + ',' + std::to_string(y + scale * dy)
            + " root=none");
    }
    return lines;
}

Lines joined(const std::vector<Lines>& parts)
{
    Lines lines;
    for (const Lines& part : parts)
        lines.insert(lines.end(), part.begin(), part.end());
    return lines;
}

class DragAndDrop : public ::testing::Test
{
protected:
    DragAndDrop() { session->pointerWarp({100, 100, -1}); }

    /// The requests of an operation, which is to succeed and to wait for so many milliseconds in all.
    template <typename Operation>
    Lines requestsOf(int milliseconds, Operation operation)
    {
        return session.requestsOf([&] {
            QElapsedTimer clock;
            clock.start();
            EXPECT_EQ(text(operation()), "");
            EXPECT_GE(clock.elapsed(), milliseconds);
        });
    }

    /// The requests of a drop with the left button.
    Lines drop(Point target, int modifiers, int milliseconds)
    {
        return requestsOf(milliseconds,
            [&] { return session->pointerDragAndDropEnd(target, MouseButton::Left, modifiers, true); });
    }

    XServer server;
    PureSession session {server};
};

/// The moves that end a drop.
Lines arrival(int x, int y)
{
    return joined({moves({{x, y}}), moves(squareBackwards, 1, x, y), {"FakeButtonRelease 1"}});
}

constexpr int arrivalTime = 100 + 10 * 40 + 40;
constexpr int glideTime = 31 * 10;

} // namespace

TEST_F(DragAndDrop, BeginsWithASmallAndALargeWiggle)
{
    EventWindow window(server);
    for (const auto& [distance, scale] : {std::pair {3, 9}, {20, 20}}) {
        EXPECT_EQ(requestsOf(100 + 40 + 20 * 40,
                      [&, asked = distance] {
                          return session->pointerDragAndDropBegin({200, 150, -1}, MouseButton::Middle, asked);
                      }),
            joined({{"XTestGetVersion"}, moves({{200, 150}}), {"FakeButtonPress 2"},
                moves(square, 1, 200, 150), moves(square, scale, 200, 150)}));
        const Lines events = window.take(22);
        ASSERT_EQ(events.size(), 22U);
        EXPECT_EQ(events[1], "ButtonPress 2 @200,150 state=0");
        EXPECT_EQ(events[2], "Motion @200,149 state=512");
        EXPECT_EQ(events[16], "Motion @200," + std::to_string(150 + scale) + " state=512");
        EXPECT_EQ(events[21], "Motion @200,150 state=512");
        session->pointerButton(MouseButton::Middle, false, 1);
        EXPECT_EQ(window.take(1), (Lines {"ButtonRelease 2 @200,150 state=512"}));
    }
}

TEST_F(DragAndDrop, JumpsToANearTarget)
{
    EXPECT_EQ(drop({108, 100, -1}, NoModifier, arrivalTime),
        joined({{"XTestGetVersion", "QueryPointer root0"}, arrival(108, 100)}));
}

TEST_F(DragAndDrop, GlidesToAFarTarget)
{
    // Beyond the screen's edge, where coordinates are truncated towards zero all the same.
    const Places way {{99, 99}, {98, 99}, {96, 98}, {93, 97}, {90, 96}, {86, 94}, {81, 93}, {76, 91},
        {70, 89}, {64, 86}, {57, 84}, {50, 81}, {43, 78}, {35, 75}, {27, 72}, {20, 70}, {12, 67}, {4, 64},
        {-3, 61}, {-10, 58}, {-17, 55}, {-24, 53}, {-30, 50}, {-36, 48}, {-41, 46}, {-46, 45}, {-50, 43},
        {-53, 42}, {-56, 41}, {-58, 40}, {-59, 40}};
    EXPECT_EQ(drop({-60, 40, -1}, NoModifier, glideTime + arrivalTime),
        joined({{"XTestGetVersion", "QueryPointer root0"}, moves(way), arrival(-60, 40)}));
    // The squared distance decides: 64 is near, 65 is far.
    session->pointerWarp({100, 100, -1});
    EXPECT_EQ(drop({92, 100, -1}, NoModifier, arrivalTime).size(), 14U);
    EXPECT_EQ(drop({84, 101, -1}, NoModifier, glideTime + arrivalTime).size(), 14U + 31U);
}

TEST_F(DragAndDrop, HoldsModifiersFromBeforeTheMotionToAfterTheDrop)
{
    EventWindow window(server);
    session->pointerButton(MouseButton::Left, true, 1);
    window.take(1);
    const int time = 2 * 40 + arrivalTime + 2 * (50 + 40);
    EXPECT_EQ(drop({100, 100, -1}, ShiftModifier | ControlModifier, time),
        joined({{"XTestGetVersion", "FakeKeyPress 37", "FakeKeyPress 50", "QueryPointer root0"},
            arrival(100, 100), {"FakeKeyRelease 37", "FakeKeyRelease 50"}}));
    Lines events = window.take();
    ASSERT_GT(events.size(), 6U);
    EXPECT_EQ(Lines(events.begin(), events.begin() + 3),
        (Lines {"KeyPress Control_L(37) state=256", "KeyPress Shift_L(50) state=260",
            "Motion @100,100 state=261"}));
    EXPECT_EQ(Lines(events.end() - 3, events.end()),
        (Lines {"ButtonRelease 1 @100,100 state=261", "KeyRelease Control_L(37) state=5",
            "KeyRelease Shift_L(50) state=1"}));
}

TEST_F(DragAndDrop, MayDropWhereThePointerIs)
{
    EXPECT_EQ(requestsOf(40,
                  [&] {
                      return session->pointerDragAndDropEnd({500, 300, -1}, MouseButton::Right, 7, false);
                  }),
        (Lines {"XTestGetVersion", "FakeButtonRelease 3"}));
}
