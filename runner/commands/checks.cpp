// Commands that wait for a condition.

#include "commands.h"

#include "expectscreen.h"

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
};

} // namespace

CommandGroup checkCommands()
{
    return makeGroup("Checks", commands);
}

} // namespace Zendra::Runner
