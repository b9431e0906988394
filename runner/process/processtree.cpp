#include "processtree.h"

#include <QFile>

namespace Zendra::Runner
{

std::optional<ProcessState> readProcessState(qint64 process)
{
    QFile file(QStringLiteral("/proc/%1/stat").arg(process));
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    const QByteArray stat = file.readAll();
    // The name in parentheses may contain anything.
    const QList<QByteArray> fields = stat.mid(stat.lastIndexOf(')') + 2).split(' ');
    if (fields.size() < 2 || fields.at(0).isEmpty())
        return std::nullopt;
    return ProcessState {fields.at(0).at(0), fields.at(1).toLongLong()};
}

bool isDescendant(qint64 process, qint64 ancestor)
{
    for (int depth = 0; process > 1 && depth < 64; ++depth) {
        if (process == ancestor)
            return true;
        const std::optional<ProcessState> state = readProcessState(process);
        process = state ? state->parent : 0;
    }
    return false;
}

QByteArray environmentVariable(qint64 process, const QByteArray& name)
{
    QFile file(QStringLiteral("/proc/%1/environ").arg(process));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    for (const QByteArray& variable : file.readAll().split('\0')) {
        if (variable.startsWith(name + '='))
            return variable.mid(name.size() + 1);
    }
    return {};
}

} // namespace Zendra::Runner
