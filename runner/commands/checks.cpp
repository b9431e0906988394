// Commands that wait for a condition.

#include "commands.h"

#include "expectscreen.h"
#include "expecttext.h"
#include "waitstable.h"

namespace Zendra::Runner
{

namespace
{

constexpr CommandInfo commands[] = {
    {"expect-screen", "waits until the screen, or a part of it, matches a picture",
        "If it does not match in time, REFERENCE-actual.png and REFERENCE-difference.png beside the reference show\n"
        "the actual picture and the differences; the next success removes them. Transparent pixels of the reference\n"
        "are not compared.",
        "zendra expect-screen logged-in.png\n"
        "zendra expect-screen --area 10,20,300,200 --tolerance 8 --timeout 20 dialog.png",
        makeCommand<ExpectScreen>},
    {"expect-clipboard", "waits until the clipboard holds a text", "",
        "zendra expect-clipboard 'some text'\n"
        "zendra expect-clipboard 'Total: *'\n"
        "zendra expect-clipboard '/^[0-9]+$/'",
        makeCommand<ExpectClipboard>},
    {"expect-file", "waits until a file exists, and contains a text", "",
        "zendra expect-file letter.txt\n"
        "zendra expect-file letter.txt --contains 'Dear *,'",
        makeCommand<ExpectFile>},
    {"wait-stable", "waits until the screen, or a part of it, has not changed for some time",
        "It begins to watch when it starts: what a program does later than --for after that is not waited for.",
        "zendra wait-stable\n"
        "zendra wait-stable --window 'Editor*' --for 500 --timeout 20",
        makeCommand<WaitStable>},
};

} // namespace

CommandGroup checkCommands()
{
    return makeGroup("Checks", commands);
}

} // namespace Zendra::Runner
