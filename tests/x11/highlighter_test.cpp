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

    /// The items of a window's _MOTIF_WM_HINTS; empty unless of that type and 32 bits wide.
    std::vector<unsigned long> motifHints(Window window) const
    {
        const Atom hints = XInternAtom(m_display, "_MOTIF_WM_HINTS", True);
        Atom type = None;
        int format = 0;
        unsigned long count = 0;
        unsigned long left = 0;
        unsigned char* data = nullptr;
        XGetWindowProperty(
            m_display, window, hints, 0, 100, False, hints, &type, &format, &count, &left, &data);
        std::vector<unsigned long> items;
        if (type == hints && format == 32)
            items.assign(
                reinterpret_cast<unsigned long*>(data), reinterpret_cast<unsigned long*>(data) + count);
        XFree(data);
        return items;
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

/// The thickness of the frame, from its top edge, once `highlighter` is on a screen.
int thickness(const Observer& observer, X11WidgetHighlighter& highlighter, Display* display, int screen)
{
    highlighter.setGeometry({0, 0, 100, 50, screen});
    XSync(display, False);
    return observer.attributes(observer.windows(screen).front()).height;
}

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

    highlighter.hide();
    EXPECT_FALSE(highlighter.isVisible());
    highlighter.setGeometry({-5, 0, 30, 40, 0}); // the same windows: the default screen has two numbers
    display.sync();
    EXPECT_EQ(observer.shown(0),
        (Lines {"(0,0 1x1)", "(-5,0 30x2)", "(24,0 2x40)", "(-5,39 30x2)", "(-5,0 2x40)"}));
}

TEST(Highlighter, ItsWindowsAreLeftAloneByWindowManagers)
{
    const XServer server;
    const Observer observer(server);
    const Connection display(server);
    X11WidgetHighlighter highlighter(display.get());
    highlighter.setGeometry({10, 20, 100, 50, -1});
    display.sync();
    const std::vector<Window> windows = observer.windows(0);
    ASSERT_EQ(windows.size(), 5U);
    for (const Window window : windows) {
        EXPECT_EQ(observer.attributes(window).override_redirect, True);
        EXPECT_EQ(observer.attributes(window).border_width, window == windows.back() ? 1 : 0);
        EXPECT_EQ(observer.motifHints(window), (std::vector<unsigned long> {2, 0, 0, 0, 0}));
    }
}

TEST(Highlighter, MakesItsWindowsInOrder)
{
    const XServer server(withScreens({"800x600x24"}, {"-dpi", "96"}));
    PureSession session(server);
    std::unique_ptr<X11WidgetHighlighter> highlighter;
    EXPECT_EQ(
        session.requestsOf([&] { highlighter = std::make_unique<X11WidgetHighlighter>(session.display()); }),
        Lines {});
    EXPECT_EQ(only({"Alloc", "Create", "OpenFont 6x10", "Map"}, session.requestsOf([&] {
        highlighter->setGeometry({10, 20, 100, 50, -1});
    })),
        (Lines {"AllocNamedColor OrangeRed", "CreateWindow w1 in root0 0,0 1x1 border=0",
            "CreateWindow w2 in root0 0,0 1x1 border=0", "CreateWindow w3 in root0 0,0 1x1 border=0",
            "CreateWindow w4 in root0 0,0 1x1 border=0", "OpenFont 6x10", "AllocNamedColor Yellow",
            "CreateWindow w5 in root0 0,0 1x1 border=1"}));
}

TEST(Highlighter, ComesAndGoesInOrder)
{
    const XServer server;
    PureSession session(server);
    X11WidgetHighlighter highlighter(session.display());
    highlighter.setGeometry({10, 20, 100, 50, -1});
    Lines mapped;
    for (const char* window : {"w1", "w2", "w3", "w4"}) {
        mapped.push_back(std::string("ConfigureWindow ") + window + " stack=above");
        mapped.push_back(std::string("MapWindow ") + window);
    }
    const auto with = [&mapped](const Lines& more) {
        Lines lines = mapped;
        lines.insert(lines.end(), more.begin(), more.end());
        return lines;
    };
    EXPECT_EQ(session.requestsOf([&] { highlighter.show(); }), with({"UnmapWindow w5"}));
    EXPECT_EQ(session.requestsOf([&] { highlighter.hide(); }),
        (Lines {"UnmapWindow w1", "UnmapWindow w2", "UnmapWindow w3", "UnmapWindow w4", "UnmapWindow w5"}));

    highlighter.setToolTipMode(WidgetHighlighter::FixedToolTip);
    EXPECT_EQ(session.requestsOf([&] { highlighter.show(); }),
        with({"ConfigureWindow w5 stack=above", "MapWindow w5"}));
    highlighter.setToolTipMode(WidgetHighlighter::FollowPointer);
    session->pointerWarp({200, 100, -1});
    EXPECT_EQ(session.requestsOf([&] { highlighter.show(); }),
        with({"ConfigureWindow w5 stack=above", "MapWindow w5", "QueryPointer root0",
            "ConfigureWindow w5 x=200 y=105"}));
}

TEST(Highlighter, ShowsOnTheDefaultScreenUnlessToldOtherwise)
{
    const XServer server;
    const Observer observer(server);
    const Connection display(server);
    X11WidgetHighlighter highlighter(display.get());
    highlighter.show();
    EXPECT_TRUE(highlighter.isVisible());
    EXPECT_EQ(observer.shown(0).size(), 5U);
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

    highlighter.hide(); // the screen of the last geometry
    EXPECT_EQ(observer.shown(1).front().front(), '(');
    EXPECT_EQ(observer.shown(0).back(), "1,2 2x40");
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
    X11WidgetHighlighter second(display.get());
    second.setGeometry({10, 20, 100, 50, 99});
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
        [&] { highlighter.show(); }, [&] { EXPECT_TRUE(highlighter.isVisible()); },
        [&] { highlighter.updateToolTip(); }, [&] { highlighter.hide(); }};
    int expected = 0;
    for (const auto& operation : operations) {
        mailbox.send();
        operation();
        EXPECT_EQ(mailbox.received, ++expected);
    }
}

namespace
{

struct Resolution {
    const char* name;
    std::vector<std::string> screens;
    const char* dpi;
    std::vector<int> thickness; ///< of the frame on each screen, made one after the other
    const char* font;           ///< the first that is asked for
};

/// With and without the RandR extension, which tells the size of a screen in millimetres.
class FrameThickness : public ::testing::TestWithParam<std::tuple<Resolution, bool>>
{
};

} // namespace

TEST_P(FrameThickness, FollowsTheResolution)
{
    const auto& [resolution, randr] = GetParam();
    std::vector<std::string> arguments {"-dpi", resolution.dpi};
    if (!randr)
        arguments.insert(arguments.end(), {"-extension", "RANDR"});
    const XServer server(withScreens(resolution.screens, arguments));
    const Observer observer(server);
    PureSession session(server);
    X11WidgetHighlighter highlighter(session.display());
    const Lines fonts = only({"OpenFont"}, session.requestsOf([&, expected = resolution.thickness] {
        for (std::size_t screen = 0; screen < expected.size(); ++screen) {
            EXPECT_EQ(thickness(observer, highlighter, session.display(), static_cast<int>(screen)),
                expected[screen]);
        }
    }));
    ASSERT_FALSE(fonts.empty());
    EXPECT_EQ(fonts.front(), resolution.font);
}

// 750 pixels are 127 mm at 150 dots per inch, exactly; 749 are a little less than 127 mm. A screen of one
// pixel has a size of 0 mm: the resolution then stays what it was.
INSTANTIATE_TEST_SUITE_P(Resolutions, FrameThickness,
    ::testing::Combine(
        ::testing::Values(Resolution {"at_96", {"800x600x24"}, "96", {2}, "OpenFont 6x10"},
            Resolution {"below_150", {"749x600x24"}, "150", {2}, "OpenFont 6x10"},
            Resolution {"at_150", {"750x600x24"}, "150", {4}, "OpenFont 10x20"},
            Resolution {"at_300", {"1500x600x24"}, "300", {6}, "OpenFont 10x20"},
            Resolution {"no_millimetres", {"1x1x24"}, "96", {2}, "OpenFont 6x10"},
            Resolution {"no_millimetres_second", {"750x600x24", "1x1x24"}, "150", {4, 4}, "OpenFont 10x20"}),
        ::testing::Values(true, false)),
    [](const auto& test) {
        return std::string(std::get<0>(test.param).name) + (std::get<1>(test.param) ? "_RandR" : "_core");
    });
