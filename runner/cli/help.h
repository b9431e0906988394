#pragma once

#include <array>

#include <QString>

namespace Zendra::Runner
{

class Arguments;
struct CommandInfo;

struct HelpEntry {
    const char* term;
    const char* text;
};

// What the help and the manual page have in common beside the commands.
constexpr const char* programSummary
    = "automates GUI tests on an X display: input, clipboard, screenshots, recordings";
constexpr const char* errorFormat = "An error is one line on standard error, or with --json an object with "
                                    "\"error\" and \"status\" on standard output.";
constexpr const char* keyNameRule
    = "Key names, in any case; the names of X keysyms, such as udiaeresis, can also be used";
constexpr std::array<HelpEntry, 5> exitStatuses {{{"0", "done"}, {"1", "the operation failed"},
    {"2", "wrong usage"}, {"3", "the display, the plug-in or the application could not be reached"},
    {"4", "the connection was lost"}}};
constexpr std::array<HelpEntry, 5> environmentVariables {
    {{"DISPLAY", "the X display, unless an option names one"},
        {"XDG_RUNTIME_DIR", "the folder of the sockets of applications; by default /tmp/zendra-UID"},
        {"ZENDRA_LOG", "'debug' turns on logging to standard error"},
        {"ZENDRA_PLATFORM", "a platform plug-in, as --platform FILE"},
        {"ZENDRA_TIMEOUT", "seconds that commands wait which are given no --timeout"}}};

/// What 'zendra --help' prints. It needs neither a display nor the plug-in.
QString programHelp(const Arguments& options);

/// What 'zendra COMMAND --help' prints.
QString commandHelp(const CommandInfo& info, const Arguments& arguments);

} // namespace Zendra::Runner
