// The command 'clipboard': what was set outlives the process that set it, and is what others get.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zendracommand.h"

namespace Zendra::Tests
{

namespace
{

TEST(Clipboard, TextComesBackAsItWas)
{
    const XServer server;
    expectDone(zendra(server, {"clipboard", "get"}), "");
    for (const std::string& text : {std::string("plain"), std::string("żółw 😀\n\ttwo lines\n"),
             std::string(1 << 20, 'x') + "end", std::string()}) {
        expectDone(zendra(server, {"clipboard", "set", "-"}, text));
        const Outcome outcome = zendra(server, {"clipboard", "get"});
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.error, "");
        EXPECT_TRUE(outcome.output == text) << outcome.output.size() << " bytes came back";
    }
}

TEST(Clipboard, IsSetWhenTheCommandHasEnded)
{
    const XServer server;
    expectDone(shell(server,
        "for text in a b c d e f g h i j k l m n o p q r s t; do\n"
        "  \"$zendra\" clipboard set $text && [ \"$(xsel -b -o)\" = $text ] || echo \"$text is not there\"\n"
        "done"));
    // A child of xsel takes the clipboard, which a busy machine may delay.
    expectDone(shell(server, R"(
folder=$(mktemp -d)
printf '#!/bin/sh\nexec 3<&0; { sleep 1.2; exec /usr/bin/xsel "$@"; } <&3 &\n' > "$folder/xsel"
chmod +x "$folder/xsel"
PATH=$folder:$PATH "$zendra" clipboard set late && xsel -b -o
rm -r "$folder"
)"),
        "late");
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
    const EnvironmentVariable platform("QT_QPA_PLATFORM", "offscreen"); // makes no difference
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

} // namespace

} // namespace Zendra::Tests
