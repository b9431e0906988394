#pragma once

#include <QStringList>

#include "command.h"
#include "options.h"

namespace Zendra::Runner
{

/// Reads the words after the program's name: options first, then a command with its arguments.
/// With the hidden option "--complete" the command prints completions for the last word. Throws a Failure of
/// status WrongUsage; `options` still says how to report it.
CommandPointer parseCommandLine(const QStringList& words, Options& options);

/// Reads "1280x1024x24" or "1280x1024"; an empty text means the default size. Throws a Failure of status
/// WrongUsage.
ScreenSize toScreenSize(const QString& text);

} // namespace Zendra::Runner
