#include "eventlog.h"

EventLog::EventLog(const QString& fileName)
    : m_file(fileName)
{
    if (!fileName.isEmpty())
        m_file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Unbuffered);
}

bool EventLog::isGood() const
{
    return m_file.fileName().isEmpty() || m_file.isOpen();
}

void EventLog::write(const QString& widget, const QString& event, const QString& details)
{
    if (!m_file.isOpen())
        return;
    QString line = widget + QLatin1Char(' ') + event;
    if (!details.isEmpty())
        line += QLatin1Char(' ') + details;
    line.replace(QLatin1Char('\\'), QLatin1String("\\\\"));
    line.replace(QLatin1Char('\n'), QLatin1String("\\n"));
    m_file.write(line.toUtf8() + '\n');
}
