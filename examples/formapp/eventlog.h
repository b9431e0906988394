#pragma once

#include <QFile>
#include <QString>

/// Writes what the application received, a line each: the widget, the event, and what came with it.
///
///     name text Ada
///     post clicked 2
///     canvas press shift+left 10,20
///
/// Backslashes and line feeds in a text are written as \\ and \n. Every line is on disk once write() returns.
class EventLog
{
public:
    /// Starts the file anew; an empty name logs nothing.
    explicit EventLog(const QString& fileName);

    /// Whether the file could be opened, or none was asked for.
    bool isGood() const;
    void write(const QString& widget, const QString& event, const QString& details = QString());

private:
    Q_DISABLE_COPY(EventLog)

    QFile m_file;
};
