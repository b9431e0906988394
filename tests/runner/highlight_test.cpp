// The command 'highlight': the frame, and the tooltip below the pointer.

#include <set>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "wait.h"
#include "zendracommand.h"

#include <X11/Xlib.h>

namespace Zendra::Tests
{

namespace
{

using Places = std::multiset<std::pair<int, int>>;

/// Where tooltips are, the only windows with a border.
Places toolTipPlaces(const Connection& connection)
{
    Places places;
    XGrabServer(connection); // no window is destroyed between the requests
    for (const Window window : connection.windows()) {
        XWindowAttributes attributes;
        XGetWindowAttributes(connection, window, &attributes);
        if (attributes.map_state == IsViewable && attributes.border_width == 1)
            places.emplace(attributes.x, attributes.y);
    }
    XUngrabServer(connection);
    connection.sync();
    return places;
}

class Highlight : public testing::Test
{
protected:
    Highlight()
        : m_observer(m_server)
    {
        expectDone(zendra(m_server, {"warp", "300", "200"}));
    }

    const XServer m_server;
    const Connection m_observer;
};

TEST_F(Highlight, FrameComesAndGoes)
{
    ZendraCommand command({"script", "-"}, &m_server, "highlight 10,20,50,50 --for 0.3\nwhere\nwait 20000\n");
    ASSERT_TRUE(waitFor([&] { return m_observer.visibleWindows() == 4; }));
    command.waitForOutput();
    EXPECT_EQ(m_observer.visibleWindows(), 0);
}

TEST_F(Highlight, ToolTipStaysBelowWhereThePointerWasOrFollowsIt)
{
    Words words {"highlight", "10,20,50,50", "--tooltip", "Save", "--for", "20"};
    ZendraCommand still(words, &m_server);
    ASSERT_TRUE(waitFor([&] { return toolTipPlaces(m_observer) == Places {{300, 205}}; }));
    words.push_back("--follow");
    ZendraCommand following(words, &m_server);
    ASSERT_TRUE(waitFor([&] { return toolTipPlaces(m_observer) == Places {{300, 205}, {300, 205}}; }));
    expectDone(zendra(m_server, {"warp", "30", "40"}));
    EXPECT_TRUE(waitFor([&] { return toolTipPlaces(m_observer) == Places {{30, 45}, {300, 205}}; }));
}

TEST_F(Highlight, ToolTipDoesNotStayForTheNextFrame)
{
    const std::string script
        = "highlight 10,20,50,50 --tooltip Save --for 0\nwhere\nhighlight 10,20,50,50 --for 20\n";
    ZendraCommand command({"script", "-"}, &m_server, script);
    command.waitForOutput();
    ASSERT_TRUE(waitFor([&] { return m_observer.visibleWindows() == 4; }));
    EXPECT_EQ(toolTipPlaces(m_observer), Places {});
}

} // namespace

} // namespace Zendra::Tests
