// The command 'clipboard': what was set outlives the process that set it, and is what others get.

#include <filesystem>
#include <fstream>
#include <optional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QTemporaryDir>

#include "zendracommand.h"

namespace Zendra::Tests
{

namespace
{

/// A folder with a program xsel that does what `script` says, in front of or in place of all others.
class FakeXsel
{
public:
    explicit FakeXsel(const std::string& script)
        : m_path("PATH", m_folder.path().toStdString() + ":/usr/bin:/bin")
    {
        const std::string file = m_folder.filePath(QStringLiteral("xsel")).toStdString();
        std::ofstream(file) << "#!/bin/sh\n" << script << '\n';
        std::filesystem::permissions(file, std::filesystem::perms::owner_all);
    }

private:
    const QTemporaryDir m_folder;
    const EnvironmentVariable m_path;
};

class ClipboardText : public testing::TestWithParam<std::string>
{
};

TEST_P(ClipboardText, ComesBackAsItWas)
{
    const XServer server;
    expectDone(zendra(server, {"clipboard", "set", "something before"}));
    expectDone(zendra(server, {"clipboard", "set", "-"}, GetParam()));
    const Outcome outcome = zendra(server, {"clipboard", "get"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.error, "");
    EXPECT_TRUE(outcome.output == GetParam()) << outcome.output.size() << " bytes came back";
}

INSTANTIATE_TEST_SUITE_P(Texts, ClipboardText,
    testing::Values("plain", "żółw 😀\n\ttwo lines\n", "", std::string(1 << 20, 'x') + "end"));

TEST(Clipboard, AnEmptyServerHasAnEmptyOne)
{
    const XServer server;
    expectDone(zendra(server, {"clipboard", "get"}), "");
    expectDone(zendra(server, {"--json", "clipboard", "get"}), "{\"text\":\"\"}\n");
}

TEST(Clipboard, IsSetWhenTheCommandHasEnded)
{
    const XServer server;
    expectDone(shell(server,
        "for text in a b c d e f g h i j k l m n o p q r s t; do\n"
        "  \"$zendra\" clipboard set $text && [ \"$(xsel -b -o)\" = $text ] || echo \"$text is not there\"\n"
        "done"));
    const std::string script = "clipboard set one\nclipboard get\nclipboard set two\nclipboard get\nwhere\n";
    expectDone(zendra(server, {"script", "-"}, script), "one\ntwo\n400 300\n");
}

TEST(Clipboard, TheProcessThatKeepsTheTextHoldsNoPipeOpen)
{
    const XServer server;
    expectDone(
        shell(server, "output=$(timeout 10 \"$zendra\" clipboard set x 2>&1); echo \"$?$output\""), "0\n");
}

TEST(Clipboard, OnAServerOfTheCommandsOwn)
{
    const std::string script = "clipboard set headless\nclipboard get\n";
    expectDone(ZendraCommand({"--headless", "script", "-"}, nullptr, script).outcome(), "headless\n");
}

TEST(Clipboard, SetNeedsXsel)
{
    const XServer server;
    const EnvironmentVariable path("PATH", "/nonexistent");
    expectFailure(zendra(server, {"clipboard", "set", "x"}), 1,
        "'clipboard set' needs the program xsel; install the package xsel");
}

TEST(Clipboard, GetRunsOnXWhateverQtPlatformIsSet)
{
    const XServer server;
    expectDone(zendra(server, {"clipboard", "set", "x"}));
    const EnvironmentVariable platform("QT_QPA_PLATFORM", "offscreen");
    expectDone(zendra(server, {"clipboard", "get"}), "x");
}

TEST(Clipboard, GetNeedsADisplay)
{
    expectFailure(zendra({"clipboard", "get"}), 3, "There is no display");
    expectFailure(zendra({"--display", ":4711", "clipboard", "get"}), 3, "Cannot open display ':4711'");
}

TEST(Clipboard, AServerThatDiesIsToldOfAsEver)
{
    std::optional<XServer> server(std::in_place);
    const std::string name = server->displayName();
    ZendraCommand command({"--json", "script", "-"}, &*server, "clipboard get\nwait 20000\n");
    command.waitForOutput();
    server.reset();
    const Outcome outcome = command.outcome();
    EXPECT_EQ(outcome.status, 4);
    EXPECT_EQ(outcome.error, "");
    EXPECT_EQ(outcome.output,
        "{\"command\":\"clipboard\",\"line\":1,\"text\":\"\"}\n{\"command\":\"wait\",\"error\":\"The connection to display '"
            + name + "' was lost\",\"file\":\"standard input\",\"line\":2,\"status\":4}\n");
}

} // namespace

} // namespace Zendra::Tests
