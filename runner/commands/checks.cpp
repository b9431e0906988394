// Commands that check the screen, and wait for a condition.

#include "commands.h"

#include "expectscreen.h"
#include "windows.h"

namespace Zendra::Runner
{

namespace
{

constexpr CommandInfo commands[] = {
    {"windows", "lists the visible windows",
        "The area excludes the window manager's frame and has the format of 'screenshot --area'. Menus and\n"
        "tooltips are not listed.",
        "zendra windows\n"
        "zendra --json windows",
        makeCommand<ListWindows>},
    {"wait-window", "waits until a window with this title is visible",
        "The whole title must match, including case; * matches any text.",
        "zendra wait-window 'Save As'\n"
        "zendra wait-window --timeout 30 '* - Editor'",
        makeCommand<WaitWindow>},
    {"focus", "raises a window, gives it the focus, and returns when it has it",
        "The whole title must match, including case; * matches any text. If several windows match, the one that\n"
        "'windows' lists last is used.",
        "zendra focus 'Save As'\n"
        "zendra focus 'letter.txt*'",
        makeCommand<Focus>},
    {"expect-screen", "waits until the screen, or a part of it, matches a picture",
        "If it does not match in time, REFERENCE-actual.png and REFERENCE-difference.png beside the reference show\n"
        "the actual picture and the differences; the next success removes them. Transparent pixels of the reference\n"
        "are not compared.",
        "zendra expect-screen logged-in.png\n"
        "zendra expect-screen --area 10,20,300,200 --tolerance 8 --timeout 20 dialog.png",
        makeCommand<ExpectScreen>},
};

} // namespace

CommandGroup checkCommands()
{
    return makeGroup("Windows and checks", commands);
}

} // namespace Zendra::Runner
