#pragma once

#include <map>
#include <vector>

#include <QString>
#include <QStringList>

#include "cli/command.h"
#include "cli/failure.h"

namespace Zendra::Runner
{

/// The variables of a script: those that were set, then those of the environment.
class Variables
{
public:
    Variables() = default;
    /// Of the form "NAME=VALUE". Throws a Failure of status WrongUsage.
    explicit Variables(const QStringList& assignments);

    void set(const QString& name, const QString& value);
    /// Throws a Failure of status WrongUsage if there is none of this name.
    QString value(const QString& name) const;

private:
    std::map<QString, QString> m_values;
};

/// A line of a script with its command.
struct ScriptLine {
    enum class When { InOrder, OnFailure, Finally };

    ScriptPlace place;
    When when;
    CommandPointer command;
};

/// Reads a script, "-" for standard input, and the files that it includes, and checks all commands.
///
/// Throws a Failure of status WrongUsage that has one for each wrong line.
std::vector<ScriptLine> readScript(const QString& fileName, Variables variables);

} // namespace Zendra::Runner
