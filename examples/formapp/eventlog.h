#pragma once

#include <QFile>
#include <QString>

/// Logs the events of the application, one per line: the widget, the event, and its details.
///
///     name text Ada
///     post clicked 2
///     canvas press shift+left 10,20
///
/// Backslashes and line feeds in a text are written as \\ and \n. Every line is in the file when write()
/// returns.
class EventLog
{
public:
    /// Truncates the file. An empty name disables the log.
    explicit EventLog(const QString& fileName);

    /// Whether the file could be opened, or the log is disabled.
    bool isGood() const;
    void write(const QString& widget, const QString& event, const QString& details = QString());

private:
    Q_DISABLE_COPY(EventLog)

    QFile m_file;
};
