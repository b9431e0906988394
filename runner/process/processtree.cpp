#include "processtree.h"

#include <QFile>

namespace Zendra::Runner
{

namespace
{

qint64 parentProcess(qint64 process)
{
    QFile file(QStringLiteral("/proc/%1/stat").arg(process));
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    const QByteArray line = file.readAll();
    // The name, in parentheses, may have blanks.
    return line.mid(line.lastIndexOf(')') + 2).split(' ').value(1).toLongLong();
}

} // namespace

bool isDescendant(qint64 process, qint64 ancestor)
{
    for (int depth = 0; process > 1 && depth < 64; ++depth, process = parentProcess(process)) {
        if (process == ancestor)
            return true;
    }
    return false;
}

} // namespace Zendra::Runner
