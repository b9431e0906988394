#pragma once

#include <optional>

#include <QByteArray>

namespace Zendra::Runner
{

struct ProcessState {
    char state; ///< as in proc(5): 'Z' for a zombie
    qint64 parent;
};

/// Nothing when there is no such process.
std::optional<ProcessState> readProcessState(qint64 process);

/// Whether a process is `ancestor`, its child, and so on.
bool isDescendant(qint64 process, qint64 ancestor);

/// A variable of the environment that a process was started with; null without it, or if it cannot be read.
QByteArray environmentVariable(qint64 process, const QByteArray& name);

} // namespace Zendra::Runner
