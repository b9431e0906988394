#pragma once

#include <QByteArray>
#include <QString>

namespace Zendra::Runner
{

/// Whether an argument means standard input.
bool isStandardInput(const QString& name);

/// Reads a file, or standard input. Throws a Failure that calls it `what` ("the script") when it cannot be
/// read or is longer than 64 MiB.
QByteArray readFile(const QString& name, const QString& what);

/// A text argument, or the text on standard input for "-". Throws a Failure if that is not UTF-8.
QString textOrStandardInput(const QString& argument);

} // namespace Zendra::Runner
