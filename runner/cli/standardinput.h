#pragma once

#include <QByteArray>
#include <QString>

namespace Zendra::Runner
{

/// Whether an argument stands for standard input.
bool isStandardInput(const QString& name);

/// What is in a file, or comes from standard input until its end. `what` names it in the Failure that is
/// thrown when it cannot be read, or is longer than 64 MiB ("the script").
QByteArray readFile(const QString& name, const QString& what);

/// A text argument itself, or the text on standard input for "-". Throws a Failure where that is no UTF-8.
QString textOrStandardInput(const QString& argument);

} // namespace Zendra::Runner
