#pragma once

#include <array>

#include "cli/command.h"

namespace Zendra::Runner
{

CommandGroup keyCommands();
CommandGroup pointerCommands();
CommandGroup elementCommands();
CommandGroup clipboardCommands();
CommandGroup screenCommands();
CommandGroup windowCommands();
CommandGroup checkCommands();
CommandGroup recordingCommands();
CommandGroup scriptCommands();
CommandGroup programCommands();
CommandGroup testCommands();
CommandGroup applicationCommands();

/// All groups, in the order of the help. A new command is added to the table of its group.
inline std::array<CommandGroup, 12> commandGroups()
{
    return {keyCommands(), pointerCommands(), elementCommands(), clipboardCommands(), screenCommands(),
        windowCommands(), checkCommands(), recordingCommands(), scriptCommands(), programCommands(),
        testCommands(), applicationCommands()};
}

template <typename T>
CommandPointer makeCommand()
{
    return std::make_unique<T>();
}

template <std::size_t size>
CommandGroup makeGroup(const char* title, const CommandInfo (&commands)[size])
{
    return {title, commands, commands + size};
}

} // namespace Zendra::Runner
