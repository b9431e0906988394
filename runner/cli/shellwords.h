#pragma once

#include <QString>
#include <QStringList>

namespace Zendra::Runner
{

/// Splits a script's line into words as a shell does: 'single quotes' keep everything, "double quotes" keep
/// all but
/// \" \\ \$ and \`, a backslash outside keeps the next character, and # at the start of a word begins a
/// comment.
///
/// Nothing is expanded. Throws a Failure of status WrongUsage for a quote that is not closed.
QStringList splitShellWords(const QString& line);

} // namespace Zendra::Runner
