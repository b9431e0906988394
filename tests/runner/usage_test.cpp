// Wrong usage is reported in one line before a display is opened; help needs no display.

#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zendracommand.h"

namespace Zendra::Tests
{

namespace
{

using testing::HasSubstr;

struct Misuse {
    const char* title;
    Words words;
    const char* text;
};

class WrongUsage : public testing::TestWithParam<Misuse>
{
};

TEST_P(WrongUsage, IsReportedInOneLine)
{
    expectFailure(zendra(GetParam().words), 2, GetParam().text);
}

const Misuse misuses[] = {
    {"NoCommand", {}, "No command is given"},
    {"UnknownCommand", {"kyes", "a"}, "Unknown command 'kyes'; did you mean 'keys'?"},
    {"UnknownOption", {"--dispaly", ":0", "where"}, "Unknown option '--dispaly'; did you mean --display?"},
    {"EmptyDisplay", {"--display", "", "where"}, "--display needs the name of a display"},
    {"DisplayAndHeadless", {"--display", ":0", "--headless", "where"}, "cannot be combined"},
    {"AppAndPlatform", {"--app", "1", "--platform", "./a.so", "where"}, "cannot be combined"},
    {"HeadlessSize", {"--headless=big", "where"}, "'big' is not written as WxHxD"},
    {"OptionAfterCommand", {"where", "--json"}, "options of zendra itself go before 'where'"},
    {"FlagWithValue", {"click", "--shift=no"}, "--shift takes no value"},
    {"MissingArgument", {"move", "1"}, "The position needs both X and Y"},
    {"NoNumber", {"move", "1.5", "2"}, "X must be a whole number from -32768 to 32767, not '1.5'"},
    {"UnknownButton", {"click", "--button", "side"},
        "--button 'side' is not one of left, middle, right, back, forward"},
    {"DragOffTheMap", {"drag", "30000", "0", "30000", "0"}, "X + DX"},
    {"ClipboardGetText", {"clipboard", "get", "x"}, "'clipboard get' takes no text"},
    {"ScreenshotArea", {"screenshot", "--area", "1,2,3", "a.png"}, "'1,2,3' is not written as X,Y,W,H"},
    {"FollowNothing", {"highlight", "1,2,3,4", "--follow"}, "--follow needs --tooltip"},
    {"ReferenceFormat", {"expect-screen", "a.jpg"}, "The reference must be a .png file"},
    {"DashText", {"keys", "-a"}, "write -- before a text that begins with a dash"},
    {"NoUtf8", {"keys", "caf\xe9"}, "Argument 2 is not valid UTF-8 (read as Latin-1 it is 'café')"},
    {"LineFeedStaysOnTheLine", {"keys", "a\n<b"}, "a\\n<b"},
    {"Duration", {"highlight", "1,2,3,4", "--for", "nan"}, "--for must be a number of seconds"},
};

INSTANTIATE_TEST_SUITE_P(Command, WrongUsage, testing::ValuesIn(misuses),
    [](const testing::TestParamInfo<Misuse>& misuse) { return std::string(misuse.param.title); });

TEST(Help, IsTheSameAsACommandAndAsAnOption)
{
    const Outcome outcome = zendra({"--help"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.error, "");
    EXPECT_EQ(zendra({"help"}).output, outcome.output);
    std::istringstream commands(zendra({"--complete", ""}).output);
    for (std::string command; std::getline(commands, command);)
        EXPECT_THAT(outcome.output, HasSubstr("\n  " + command));
    EXPECT_EQ(zendra({"help", "click"}).output, zendra({"click", "--help"}).output);
    EXPECT_THAT(zendra({"help", "click"}).output,
        testing::StartsWith(
            "Usage: zendra click [--button B] [--count N] [--shift] [--ctrl] [--alt] [--in PID|TITLE]"));
    EXPECT_THAT(zendra({"help", "run"}).output, HasSubstr("[--headless[=WxHxD]] -- PROGRAM...\n"));
}

TEST(Help, VersionIsAPlainLine)
{
    EXPECT_THAT(zendra({"--version"}).output, testing::MatchesRegex("zendra [0-9.]+\n"));
}

} // namespace

} // namespace Zendra::Tests
