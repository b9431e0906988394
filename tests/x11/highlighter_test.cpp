// Highlight frames: their windows, where they are, and on which requests they come and go.

#include <gtest/gtest.h>

#include <functional>
#include <memory>

#include "highlighter_x11.h"
#include "puresession.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>

using namespace Zendra;
using namespace Zendra::Tests;

namespace
{

/// A client beside the highlighter's that looks at the screen.
class Observer
{
public:
    explicit Observer(const XServer& server)
        : m_display(server)
    {
    }

    std::vector<Window> windows(int screen) const { return m_display.windows(screen); }

    /// Place and size of each window on a screen, bottom first: "10,20 100x2", in brackets when not viewable.
    Lines shown(int screen) const
    {
        Lines lines;
        for (const Window window : windows(screen)) {
            const XWindowAttributes at = attributes(window);
            const std::string line = std::to_string(at.x) + ',' + std::to_string(at.y) + ' '
                + std::to_string(at.width) + 'x' + std::to_string(at.height);
            lines.push_back(at.map_state == IsViewable ? line : '(' + line + ')');
        }
        return lines;
    }

    XWindowAttributes attributes(Window window) const
    {
        XWindowAttributes result {};
        XGetWindowAttributes(m_display, window, &result);
        return result;
    }

    unsigned long pixel(int screen, int x, int y) const
    {
        XImage* image
            = XGetImage(m_display, RootWindow(m_display.get(), screen), x, y, 1, 1, AllPlanes, ZPixmap);
        const unsigned long result = XGetPixel(image, 0, 0);
        XDestroyImage(image);
        return result;
    }

private:
    Connection m_display;
};

} // namespace

TEST(Highlighter, FramesTheRectangle)
{
    const XServer server(withScreens({"800x600x24"}, {"-dpi", "96"}));
    const Observer observer(server);
    const Connection display(server);
    X11WidgetHighlighter highlighter(display.get());
    EXPECT_FALSE(highlighter.isVisible());
    EXPECT_EQ(observer.shown(0), Lines {});

    highlighter.setGeometry({10, 20, 100, 50, -1});
    display.sync();
    EXPECT_FALSE(highlighter.isVisible());
    EXPECT_EQ(observer.shown(0),
        (Lines {"(10,20 100x2)", "(109,20 2x50)", "(10,69 100x2)", "(10,20 2x50)", "(0,0 1x1)"}));

    highlighter.show();
    EXPECT_TRUE(highlighter.isVisible());
    const Lines framed {"(0,0 1x1)", "10,20 100x2", "109,20 2x50", "10,69 100x2", "10,20 2x50"};
    EXPECT_EQ(observer.shown(0), framed);
    for (const auto& [x, y] : {std::pair {10, 20}, {60, 21}, {110, 40}, {60, 70}, {11, 60}})
        EXPECT_EQ(observer.pixel(0, x, y), 0xFF4500U) << x << ',' << y; // orange red
    EXPECT_EQ(observer.pixel(0, 12, 22), 0U);
    for (const Window window : observer.windows(0)) // window managers leave them alone
        EXPECT_EQ(observer.attributes(window).override_redirect, True);

    highlighter.hide();
    EXPECT_FALSE(highlighter.isVisible());
    EXPECT_EQ(observer.shown(0).back(), "(10,20 2x50)");
}

TEST(Highlighter, ComesAndGoesInOrder)
{
    const XServer server;
    PureSession session(server);
    X11WidgetHighlighter highlighter(session.display());
    highlighter.setGeometry({10, 20, 100, 50, -1});
    const Lines shown = {"ConfigureWindow w1", "MapWindow w1", "ConfigureWindow w2", "MapWindow w2",
        "ConfigureWindow w3", "MapWindow w3", "ConfigureWindow w4", "MapWindow w4", "UnmapWindow w5"};
    EXPECT_EQ(session.requestsOf([&] { highlighter.show(); }), shown);
    EXPECT_EQ(session.requestsOf([&] { highlighter.hide(); }),
        (Lines {"UnmapWindow w1", "UnmapWindow w2", "UnmapWindow w3", "UnmapWindow w4", "UnmapWindow w5"}));
}

TEST(Highlighter, HasAFrameOnEachScreen)
{
    const XServer server(withScreens({"800x600x24", "640x480x16"}));
    const Observer observer(server);
    const Connection display(server);
    X11WidgetHighlighter highlighter(display.get());
    highlighter.setGeometry({1, 2, 30, 40, 0});
    highlighter.show();
    highlighter.setGeometry({5, 6, 70, 80, 1});
    EXPECT_FALSE(highlighter.isVisible());
    highlighter.show();
    EXPECT_TRUE(highlighter.isVisible());
    EXPECT_EQ(observer.shown(0), (Lines {"(0,0 1x1)", "1,2 30x2", "30,2 2x40", "1,41 30x2", "1,2 2x40"}));
    EXPECT_EQ(observer.shown(1), (Lines {"(0,0 1x1)", "5,6 70x2", "74,6 2x80", "5,85 70x2", "5,6 2x80"}));
    EXPECT_EQ(observer.pixel(1, 5, 6), 0xFA20U); // orange red in five, six and five bits
}

TEST(Highlighter, AnInvalidScreenIsReportedOnceAndReplaced)
{
    const XServer server;
    const Observer observer(server);
    const Connection display(server);
    X11WidgetHighlighter highlighter(display.get());
    testing::internal::CaptureStderr();
    highlighter.setGeometry({10, 20, 100, 50, 1});
    highlighter.setGeometry({10, 20, 100, 50, -2});
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Invalid screen number 1\n");
    highlighter.show();
    EXPECT_TRUE(highlighter.isVisible());
    EXPECT_EQ(observer.shown(0).back(), "10,20 2x50");
}

TEST(Highlighter, ThePureVariantDispatchesQueuedEvents)
{
    const XServer server;
    PureSession session(server);
    Mailbox mailbox(session.wrapper());
    PureX11WidgetHighlighter highlighter(&session.wrapper());
    const Rect anywhere {1, 2, 3, 4, -1};
    const std::function<void()> operations[] = {[&] { highlighter.setGeometry(anywhere); },
        [&] { highlighter.show(); }, [&] { highlighter.setToolTip(QStringLiteral("text")); },
        [&] { highlighter.updateToolTip(); }, [&] { highlighter.hide(); }};
    int expected = 0;
    for (const auto& operation : operations) {
        mailbox.send();
        operation();
        EXPECT_EQ(mailbox.received, ++expected);
    }
}

// 750 pixels are 127 mm at 150 dots per inch, exactly; 749 are a little less than 127 mm.
TEST(Highlighter, TheThicknessFollowsTheResolution)
{
    const std::tuple<const char*, const char*, int> rows[]
        = {{"749x600x24", "150", 2}, {"750x600x24", "150", 4}, {"1500x600x24", "300", 6}};
    for (const auto& [screen, dpi, thickness] : rows) {
        const XServer server(withScreens({screen}, {"-dpi", dpi}));
        const Observer observer(server);
        const Connection display(server);
        X11WidgetHighlighter highlighter(display.get());
        highlighter.setGeometry({0, 0, 100, 50, 0});
        display.sync();
        EXPECT_EQ(observer.attributes(observer.windows(0).front()).height, thickness) << screen;
    }
}
