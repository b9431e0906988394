// The command 'highlight': the frame, and the tooltip below the pointer.

#include <optional>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "wait.h"
#include "windows.h"
#include "zendracommand.h"

#include <X11/Xlib.h>

namespace Zendra::Tests
{

namespace
{

using Place = std::pair<int, int>;

/// Where the tooltip is, the only window with a border; nothing while there is none.
std::optional<Place> toolTipPlace(const Connection& connection)
{
    for (const Window window : connection.windows()) {
        XWindowAttributes attributes;
        XGetWindowAttributes(connection, window, &attributes);
        if (attributes.map_state == IsViewable && attributes.border_width == 1)
            return Place(attributes.x, attributes.y);
    }
    return std::nullopt;
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
    ASSERT_TRUE(waitFor([&] { return visibleWindows(m_observer) == 4; }));
    command.waitForOutput();
    EXPECT_EQ(visibleWindows(m_observer), 0);
}

TEST_F(Highlight, ToolTipStaysBelowWhereThePointerWas)
{
    ZendraCommand command({"highlight", "10,20,50,50", "--tooltip", "Save", "--for", "20"}, &m_server);
    ASSERT_TRUE(waitFor([&] { return visibleWindows(m_observer) == 5; }));
    ASSERT_TRUE(waitFor([&] { return toolTipPlace(m_observer) == Place(300, 205); }));
    expectDone(zendra(m_server, {"warp", "30", "40"}));
    runEventLoop(100);
    EXPECT_EQ(toolTipPlace(m_observer), Place(300, 205));
}

TEST_F(Highlight, ToolTipFollowsThePointer)
{
    ZendraCommand command(
        {"highlight", "10,20,50,50", "--tooltip", "Save", "--follow", "--for", "20"}, &m_server);
    ASSERT_TRUE(waitFor([&] { return toolTipPlace(m_observer) == Place(300, 205); }));
    expectDone(zendra(m_server, {"warp", "30", "40"}));
    EXPECT_TRUE(waitFor([&] { return toolTipPlace(m_observer) == Place(30, 45); }));
}

TEST_F(Highlight, ToolTipDoesNotStayForTheNextFrame)
{
    const std::string script
        = "highlight 10,20,50,50 --tooltip Save --for 0\nwhere\nhighlight 10,20,50,50 --for 20\n";
    ZendraCommand command({"script", "-"}, &m_server, script);
    command.waitForOutput();
    ASSERT_TRUE(waitFor([&] { return visibleWindows(m_observer) == 4; }));
    EXPECT_EQ(toolTipPlace(m_observer), std::nullopt);
}

} // namespace

} // namespace Zendra::Tests
