// Scripts: one command a line, understood as a whole before the first one runs.

#include <cstdio>
#include <fstream>

#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "eventwindow.h"
#include "zendracommand.h"

namespace Zendra::Tests
{

namespace
{

class Scripts : public testing::Test
{
protected:
    Outcome run(const std::string& script) { return zendra(m_server, {"script", "-"}, script); }

    const XServer m_server;
};

TEST_F(Scripts, LinesRunInOrder)
{
    expectDone(run("# first\r\n\r\nmove 10 20 # then\r\nwhere\r\n\tdrag 10 20 -5 -5\r\nwait 1\r\nwhere"),
        "10 20\n5 15\n");
    expectDone(run("\xef\xbb\xbfwarp 3 4\nwhere\n"), "3 4\n");
    expectDone(run(""));
    expectDone(run("clipboard set 'two\nlines'\nclipboard get"), "two\nlines\n");
}

TEST_F(Scripts, ComeFromAFileToo)
{
    char name[] = "/tmp/zendra-test-XXXXXX";
    close(mkstemp(name));
    std::ofstream(name) << "warp 8 9\nwhere\nsend-to nobody 'a\nb'\n";
    const Outcome outcome = zendra(m_server, {"script", name});
    std::remove(name);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output, "8 9\n");
    EXPECT_THAT(outcome.error, testing::StartsWith("zendra: " + std::string(name) + ":3: Could not find"));
    expectFailure(
        zendra(m_server, {"script", name}), 1, "Cannot read the script '" + std::string(name) + "'");
    expectFailure(
        shell("$zendra type - </dev/zero"), 1, "Cannot read standard input: it is longer than 64 MiB");
}

TEST_F(Scripts, AMistakeAnywhereIsFoundBeforeAnythingRuns)
{
    const std::string start = "warp 1 1\nwhere\n";
    expectFailure(
        run(start + "mov 2 2\n"), 2, "standard input:3: Unknown command 'mov'; did you mean 'move'?");
    expectFailure(
        run(start + "keys 'abc\n\n"), 2, "standard input:3: The quote ' at character 6 is not closed");
    const Outcome several = run("mov 2 2\nwhere\nclick 'a b'\nkeys 'abc\nwarp\n");
    EXPECT_EQ(several.status, 2);
    for (const char* line : {":1: Unknown", ":3: ", ":4: The quote", ":5: "})
        EXPECT_THAT(several.error, testing::HasSubstr(line));
    expectFailure(run(start + "\nmove 1 x\n"), 2, "standard input:4: Y must be a whole number");
    expectFailure(run(start + "keys \xff\n"), 2, "standard input:3: This line is not valid UTF-8");
    expectFailure(
        run(start + "script other.zs\n"), 2, "standard input:3: A script cannot run another script");
}

TEST_F(Scripts, EndAtTheFirstLineThatFails)
{
    const Outcome outcome = run("warp 1 1\nwarp 2 2 --screen 9\nwarp 3 3\n");
    expectFailure(outcome, 1, "standard input:2: Display");
    expectDone(run("where\n"), "1 1\n");
}

TEST_F(Scripts, JsonIsOneObjectALine)
{
    const Outcome outcome
        = zendra(m_server, {"--json", "script", "-"}, "warp 1 2\nwhere\nsend-to nobody a\n");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.error, "");
    EXPECT_THAT(outcome.output,
        testing::StartsWith(
            "{\"command\":\"where\",\"line\":2,\"x\":1,\"y\":2}\n{\"command\":\"send-to\",\"error\":"));
    EXPECT_THAT(outcome.output, testing::EndsWith("\"file\":\"standard input\",\"line\":3,\"status\":1}\n"));
}

TEST(Script, ThatFailsReleasesWhatItPressed)
{
    const XServer server;
    EventWindow window(server);
    expectFailure(zendra(server, {"script", "-"},
                      "press '<Shift>'\nmouse down\npress '<Ctrl>'\nrelease '<Ctrl>'\nsend-to nobody x\n"),
        1, "Could not find a window with the name 'nobody'");
    Lines lines = window.take();
    ASSERT_GE(lines.size(), 2U);
    EXPECT_EQ(lines.at(lines.size() - 2).rfind("ButtonRelease 1 ", 0), 0U) << lines.at(lines.size() - 2);
    EXPECT_EQ(lines.back().rfind("KeyRelease Shift_L(", 0), 0U) << lines.back();
}

} // namespace

} // namespace Zendra::Tests
