#pragma once

#include <string>

#include <QDir>
#include <QFile>

namespace Zendra::Tests
{

inline std::string content(const QString& fileName)
{
    QFile file(fileName);
    return file.open(QIODevice::ReadOnly) ? file.readAll().toStdString() : std::string();
}

/// What all threads of a process have used and how often they woke up: the same again when nothing happened.
inline std::string activity(const QString& process)
{
    std::string result;
    const QDir tasks(QStringLiteral("/proc/%1/task").arg(process));
    for (const QString& task : tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        const QString stat = QString::fromStdString(content(tasks.filePath(task + QLatin1String("/stat"))));
        const QString status
            = QString::fromStdString(content(tasks.filePath(task + QLatin1String("/status"))));
        const int switches = status.indexOf(QLatin1String("\nvoluntary"));
        result += (stat.section(QLatin1Char(' '), 13, 14) + status.mid(switches)).toStdString();
    }
    return result;
}

} // namespace Zendra::Tests
