#pragma once

#include <QString>

namespace Zendra::Runner
{

class Arguments;
struct CommandInfo;

/// What 'zendra --help' prints. It needs neither a display nor the plug-in.
QString programHelp(const Arguments& options);

/// What 'zendra COMMAND --help' prints.
QString commandHelp(const CommandInfo& info, const Arguments& arguments);

} // namespace Zendra::Runner
