// --headless: a server for the time of the command, and nothing left behind.

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>

#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QTemporaryDir>

#include "wait.h"
#include "zendracommand.h"

namespace Zendra::Tests
{

namespace
{

bool haveEnded(const std::vector<pid_t>& processes)
{
    return std::none_of(processes.begin(), processes.end(), isRunning);
}

TEST(Headless, HasAServerOfItsOwn)
{
    const Outcome info = zendra({"--headless=300x200x16", "info"});
    EXPECT_EQ(info.status, 0);
    EXPECT_EQ(info.error, "");
    EXPECT_THAT(info.output, testing::HasSubstr("Screen 0    300x200 pixels, depth 16"));
}

TEST(Headless, ReportsWhyTheServerDoesNotStart)
{
    expectFailure(
        zendra({"--headless=640x480x17", "where"}), 3, "Xvfb does not start with a screen of 640x480x17: ");
}

TEST(Headless, AdmitsOnlyItsOwnUserAndLeavesNoFile)
{
    if (getuid() != 0)
        GTEST_SKIP() << "Only root can become another user";
    const std::string program
        = "stat -c %a $XAUTHORITY; LD_PRELOAD= xsel -bo && echo admitted; "
          "LD_PRELOAD= setpriv --reuid=65534 --clear-groups xsel -bo 2>/dev/null && echo other; "
          "echo $XAUTHORITY >$0; exec $1";
    const QTemporaryDir folder;
    const std::string name = folder.filePath(QStringLiteral("name")).toStdString();
    const Outcome outcome = zendra(
        {"run", "--headless", "--script", "/dev/null", "--", "sh", "-c", program, name, ZENDRA_EXAMPLE_FORM});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output, "600\nadmitted\n");
    std::string file;
    std::ifstream(name) >> file;
    EXPECT_NE(file, "");
    EXPECT_FALSE(std::filesystem::exists(file));
}

class HeadlessEnd : public testing::TestWithParam<int>
{
};

TEST_P(HeadlessEnd, LeavesNoProcess)
{
    ZendraCommand command({"--headless", "highlight", "1,1,50,50", "--for", "20"});
    std::vector<pid_t> children;
    ASSERT_TRUE(waitFor([&] {
        children = command.children();
        return !children.empty();
    }));
    command.signal(GetParam());
    command.outcome();
    EXPECT_TRUE(waitFor([&] { return haveEnded(children); }));
}

TEST(Headless, ProgramsRegisterOnAnAccessibilityBusThatEndsWithTheRun)
{
    const QTemporaryDir folder;
    const EnvironmentVariable runtime("XDG_RUNTIME_DIR", folder.path().toStdString());
    const EnvironmentVariable bridge("NO_AT_BRIDGE", "1");
    const std::string program
        = "$0 & call='dbus-send --print-reply --dest=org.a11y'; root=/org/a11y/atspi/accessible/root\n"
          "until $call.atspi.Registry --bus=$AT_SPI_BUS_ADDRESS $root org.a11y.atspi.Accessible.GetChildren "
          "| grep -q '\":1'; do sleep 0.01; done 2>/dev/null\n"
          "$call.Bus /org/a11y/bus org.freedesktop.DBus.Properties.GetAll string:org.a11y.Status | grep -c true\n"
          "xprop -root AT_SPI_BUS | grep -c $AT_SPI_BUS_ADDRESS; echo ${NO_AT_BRIDGE-unset}; $1; kill $!";
    const Words words {"run", "--headless", "--", "bash", "-c", program, ZENDRA_EXAMPLE_FORM};
    // The run fails if the program ends before its hook is found.
    EXPECT_EQ(zendra(words).output, "2\n1\nunset\n");
    // All that has the socket's folder in its environment.
    const std::string left = "grep -lsf - /proc/[0-9]*/environ <<<$XDG_RUNTIME_DIR/zendra/a11y-";
    expectFailure(zendra({"run", "--", "true"}), 3, "There is no display");
    EXPECT_EQ(shell(left + "; ls $XDG_RUNTIME_DIR/zendra | grep 11y").output, "");
    Words waiting = words;
    waiting.emplace_back("wait");
    ZendraCommand killed(waiting);
    killed.waitForOutput();
    EXPECT_NE(shell(left).output, "");
    killed.signal(SIGKILL);
    EXPECT_TRUE(waitFor([&] { return shell(left).output.empty(); }));
}

/// What is asked of a stopped server is never answered.
TEST(Headless, StartsAgainWhenAnotherServerHasTakenTheNumber)
{
    expectDone(shell(R"(
folder=$(mktemp -d)
cat > "$folder/Xvfb" <<'END'
#!/bin/sh
mkdir "${0%/*}/tried" || exec /usr/bin/Xvfb "$@"
echo '(EE) Fatal server error: (EE) Cannot establish any listening sockets: server already running' >&2
exit 1
END
chmod +x "$folder/Xvfb"
PATH=$folder:$PATH $zendra --headless=300x200 where 2>/dev/null
ls "$folder"
rm -r "$folder")"),
        "150 100\nXvfb\ntried\n");
}

TEST(Headless, EndsInTimeThoughItsServerIsStopped)
{
    const EnvironmentVariable noTimeout("ZENDRA_TIMEOUT", "");
    for (const char* seconds : {"1", "60"}) {
        const bool isInterrupted = seconds[1] != '\0';
        ZendraCommand command(
            {"--headless", "script", "-"}, nullptr, std::string("where\nhighlight 1,1,5,5 --for ") + seconds);
        command.waitForOutput();
        const std::vector<pid_t> children = command.children();
        for (const pid_t child : children)
            kill(child, SIGSTOP);
        if (isInterrupted)
            command.signal(SIGTERM);
        const Outcome outcome = command.outcome();
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.error,
            isInterrupted ? "zendra: Interrupted; the display or the application does not answer\n"
                          : "zendra: standard input:2: The display does not answer\n");
        EXPECT_TRUE(waitFor([&] { return haveEnded(children); }));
    }
}

INSTANTIATE_TEST_SUITE_P(Signal, HeadlessEnd, testing::Values(SIGINT, SIGTERM, SIGKILL));

} // namespace

} // namespace Zendra::Tests
