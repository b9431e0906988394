// Wrong usage is told in one line before a display is opened, and help needs none either.

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

TEST_P(WrongUsage, IsToldInOneLine)
{
    expectFailure(zendra(GetParam().words), 2, GetParam().text);
}

const Misuse misuses[] = {
    {"NoCommand", {}, "No command is given"},
    {"UnknownCommand", {"kyes", "a"}, "Unknown command 'kyes'; did you mean 'keys'?"},
    {"UnlikeAnyCommand", {"frobnicate"}, "'zendra --help' lists all commands"},
    {"UnknownOption", {"--dispaly", ":0", "where"}, "Unknown option '--dispaly'; did you mean --display?"},
    {"DisplayWithoutValue", {"--display"}, "--display needs a value"},
    {"EmptyDisplay", {"--display", "", "where"}, "--display needs the name of a display"},
    {"DisplayAndHeadless", {"--display", ":0", "--headless", "where"}, "exclude each other"},
    {"HeadlessSize", {"--headless=big", "where"}, "'big' is not written as WxHxD"},
    {"HeadlessWidth", {"--headless=0x10", "where"}, "width of the screen"},
    {"OptionAfterCommand", {"where", "--json"}, "options of zendra itself go before 'where'"},
    {"OptionOfCommand", {"move", "1", "2", "--scren", "1"}, "did you mean --screen?"},
    {"FlagWithValue", {"click", "--shift=no"}, "--shift takes no value"},
    {"MissingArgument", {"move", "1"}, "'move' needs Y"},
    {"SuperfluousArgument", {"move", "1", "2", "3"}, "Unexpected argument '3'"},
    {"NoNumber", {"move", "1.5", "2"}, "X must be a whole number from -32768 to 32767, not '1.5'"},
    {"NumberTooLarge", {"warp", "1", "99999999999"}, "not '99999999999'"},
    {"HalfAPlace", {"click", "5"}, "both X and Y"},
    {"UnknownButton", {"click", "--button", "side"},
        "--button 'side' is none of left, middle, right, back, forward"},
    {"NoClicks", {"click", "--count", "0"}, "--count must be"},
    {"MouseSideways", {"mouse", "sideways"}, "'sideways' is none of down, up"},
    {"WheelTooFar", {"wheel", "-1001"}, "N must be"},
    {"DragOffTheMap", {"drag", "30000", "0", "30000", "0"}, "X + DX"},
    {"DropWithoutTarget", {"drop", "1", "2", "3"}, "'drop' needs Y2"},
    {"DropOffTheMap", {"drop", "1", "2", "3", "40000"}, "Y2 must be"},
    {"DropButton", {"drop", "1", "2", "3", "4", "--button", "wheel"}, "--button 'wheel' is none of left"},
    {"DropDistance", {"drop", "1", "2", "3", "4", "--distance", "-1"}, "--distance must be"},
    {"SendToNobody", {"send-to", "Editor"}, "'send-to' needs TEXT"},
    {"ClipboardVerb", {"clipboard", "copy"}, "'copy' is none of get, set"},
    {"ClipboardSetNothing", {"clipboard", "set"}, "'clipboard set' needs a text"},
    {"ClipboardGetText", {"clipboard", "get", "x"}, "'clipboard get' takes no text"},
    {"ScreenshotArea", {"screenshot", "--area", "1,2,3", "a.png"}, "'1,2,3' is not written as X,Y,W,H"},
    {"FollowNothing", {"highlight", "1,2,3,4", "--follow"}, "--follow needs a text to show"},
    {"WindowWithoutTitle", {"wait-window", ""}, "TITLE is empty"},
    {"Tolerance", {"expect-screen", "a.png", "--tolerance", "256"}, "--tolerance must be"},
    {"ReferenceFormat", {"expect-screen", "a.jpg"}, "The reference must be a .png file"},
    {"EmptySequence", {"keys", ""}, "empty sequence"},
    {"EmptySequenceAmongOthers", {"keys", "a", ""}, "empty sequence"},
    {"UnknownKey", {"keys", "hello<Entre>"}, "did you mean 'Enter'?"},
    {"DashText", {"keys", "-a"}, "write -- before a text that begins with a dash"},
    {"NoUtf8", {"keys", "caf\xe9"}, "Argument 2 is not valid UTF-8 (read as Latin-1 it is 'café')"},
    {"LineFeedStaysOnTheLine", {"keys", "a\n<b"}, "a\\n<b"},
    {"PressCombination", {"press", "<Ctrl+a>"}, "'zendra keys' types combinations"},
    {"RectangleOfThree", {"highlight", "1,2,3"}, "'1,2,3' is not written as X,Y,W,H"},
    {"RectangleWithoutWidth", {"highlight", "1,2,0,4"}, "The rectangle's W"},
    {"Duration", {"highlight", "1,2,3,4", "--for", "nan"}, "--for must be a number of seconds"},
};

INSTANTIATE_TEST_SUITE_P(Command, WrongUsage, testing::ValuesIn(misuses),
    [](const testing::TestParamInfo<Misuse>& misuse) { return std::string(misuse.param.title); });

TEST(Json, ReportsFailuresOnStandardOutput)
{
    const Outcome outcome = zendra({"--json", "frobnicate"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.error, "");
    EXPECT_EQ(outcome.output,
        "{\"error\":\"Unknown command 'frobnicate'; 'zendra --help' lists all commands\",\"status\":2}\n");
}

TEST(Help, ShowsEveryCommandWithAnExample)
{
    const Outcome outcome = zendra({"--help"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.error, "");
    EXPECT_EQ(zendra({"help"}).output, outcome.output);
    std::istringstream commands(zendra({"--complete", ""}).output);
    for (std::string command; std::getline(commands, command);) {
        if (command.front() == '-')
            continue;
        EXPECT_THAT(outcome.output, HasSubstr("\n  " + command));
        const Outcome own = zendra({"help", command});
        EXPECT_EQ(own.status, 0);
        EXPECT_THAT(own.output, HasSubstr("Usage: zendra " + command));
        EXPECT_THAT(own.output, HasSubstr("\nExamples\n  "));
    }
}

TEST(Help, VersionIsAPlainLine)
{
    EXPECT_THAT(zendra({"--version"}).output, testing::MatchesRegex("zendra [0-9.]+\n"));
}

} // namespace

} // namespace Zendra::Tests
