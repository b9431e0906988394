// Commands that check what is on the screen, and wait for it.

#include "commands.h"

#include "expectscreen.h"
#include "windows.h"

namespace Zendra::Runner
{

namespace
{

constexpr CommandInfo commands[] = {
    {"windows", "lists the windows that are visible",
        "The area is that of the window without its frame, as 'screenshot --area' takes it. Menus and tooltips are\n"
        "not listed.",
        "zendra windows\n"
        "zendra --json windows",
        makeCommand<ListWindows>},
    {"wait-window", "waits until a window with a title is visible",
        "The title is the whole one, upper and lower case as it is; * in it stands for any text.",
        "zendra wait-window 'Save As'\n"
        "zendra wait-window --timeout 30 '* - Editor'",
        makeCommand<WaitWindow>},
    {"focus", "brings a window to the front, gives it the focus, and returns when it has it",
        "The title is the whole one, upper and lower case as it is; * in it stands for any text. Of several windows\n"
        "it is the one that 'windows' lists last.",
        "zendra focus 'Save As'\n"
        "zendra focus 'letter.txt*'",
        makeCommand<Focus>},
    {"expect-screen", "waits until the screen, or a part of it, looks as in a picture",
        "Where it does not come to that, REFERENCE-actual.png and REFERENCE-difference.png beside the reference\n"
        "show what there is instead, and where it differs; the next success removes them. What is transparent in\n"
        "the reference is not looked at.",
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
