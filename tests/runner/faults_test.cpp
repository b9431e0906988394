// What may go wrong around a command: no display, no plug-in, a server that dies, a signal, a full disk.

#include <csignal>
#include <memory>
#include <optional>

#include <xcb/xcb.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "wait.h"
#include "zendracommand.h"

namespace Zendra::Tests
{

namespace
{

TEST(Display, MissingOrNotThere)
{
    expectFailure(zendra({"where"}), 3, "set DISPLAY, name one with --display, or start one with --headless");
    expectFailure(zendra({"--display", ":4711", "where"}), 3, "Cannot open display ':4711'");
    expectFailure(zendra({"--display", "nonsense", "where"}), 3, "not a display name such as ':0'");
}

/// libxcb writes the server's reason on standard error itself.
TEST(Display, RefusesInOneLineWithTheReason)
{
    const XServer server(withScreens({"100x100x24"}, {"-maxclients", "64"}));
    std::vector<std::unique_ptr<xcb_connection_t, decltype(&xcb_disconnect)>> clients;
    do
        clients.emplace_back(xcb_connect(server.displayName().c_str(), nullptr), &xcb_disconnect);
    while (xcb_connection_has_error(clients.back().get()) == 0);
    expectFailure(zendra(server, {"where"}), 3, "': Maximum number of clients reached\n");
}

/// It drops clients that connect while it resets, which it does when its last client leaves.
TEST(Display, IsOpenedOnAServerThatResets)
{
    const XServer server(withScreens({"100x100x24"}, {"-reset"}));
    for (int number = 0; number < 10; ++number)
        expectDone(zendra(server, {"warp", "9", "9"}));
}

TEST(Display, OptionWinsOverEnvironment)
{
    const XServer first;
    const XServer second;
    expectDone(zendra(first, {"--display", second.displayName(), "warp", "9", "9"}));
    expectDone(zendra(second, {"where"}), "9 9\n");
    EXPECT_NE(zendra(first, {"where"}).output, "9 9\n");
}

TEST(LostServer, DuringAWait)
{
    std::optional<XServer> server(std::in_place);
    const std::string name = server->displayName();
    ZendraCommand command({"script", "-"}, &*server, "where\nwait 20000\n");
    command.waitForOutput();
    server.reset();
    const Outcome outcome = command.outcome();
    EXPECT_EQ(outcome.status, 4);
    EXPECT_EQ(outcome.error, "zendra: standard input:2: The connection to display '" + name + "' was lost\n");
}

TEST(Interruption, EndsAHighlightWell)
{
    const XServer server;
    const Connection observer(server);
    ZendraCommand highlight({"highlight", "10,20,50,50", "--for", "20"}, &server);
    ASSERT_TRUE(waitFor([&] { return observer.visibleWindows() == 4; }));
    highlight.signal(SIGINT);
    expectDone(highlight.outcome());
}

TEST(Interruption, EndsAScript)
{
    const XServer server;
    for (const char* line : {"wait 20000\n", "highlight 1,1,50,50 --for 20\n"}) {
        ZendraCommand script(
            {"script", "-"}, &server, std::string("warp 5 5\nwhere\n") + line + "warp 1 1\n");
        script.waitForOutput();
        script.signal(SIGTERM);
        const Outcome outcome = script.outcome();
        EXPECT_EQ(outcome.status, 1);
        EXPECT_THAT(outcome.error, testing::MatchesRegex("zendra: standard input:[34]: Interrupted\n"));
        expectDone(zendra(server, {"where"}), "5 5\n");
    }
}

TEST(Output, ThatCannotBeWritten)
{
    expectFailure(shell("\"$zendra\" --version >/dev/full"), 1,
        "Cannot write to standard output: No space left on device");
}

} // namespace

} // namespace Zendra::Tests
