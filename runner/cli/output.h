#pragma once

#include <QJsonObject>
#include <QString>

#include "failure.h"

namespace Zendra::Runner
{

/// Text from another program, with its control characters escaped.
QString onOneLine(const QString& text);

/// Writes results and failures, for people or as JSON.
/// As text, results go to standard output and failures to standard error. As JSON, both are objects on
/// standard output, one per line.
class Output
{
public:
    Output() = default;

    void setJson(bool json) { m_json = json; }
    /// Sets the line of a script that the following results come from: JSON names it, and texts end with a
    /// line feed. A place without a file name resets it.
    void setPlace(const ScriptPlace& place) { m_place = place; }

    /// Writes a result: `text`, without its last line feed, or `object`.
    void result(const QString& text, const QJsonObject& object);
    /// Writes a text that is itself the result: unchanged, with a line feed only before a terminal's prompt
    /// or the next result.
    void text(const QString& text, const QJsonObject& object);
    /// Writes bytes that are themselves the result. Throws if the output is JSON.
    void data(const QByteArray& bytes);
    /// Writes a result in JSON only.
    void resultForPrograms(const QJsonObject& object);
    /// Shows progress on a terminal, in a line of standard error that replaces the previous one.
    void progress(const QString& line);
    /// Ends the line of progress.
    void endProgress();
    /// Writes a failure as exactly one line and returns the exit status for it.
    int failure(const Failure& failure);
    /// The line that failure() would write, with its end, and the file descriptor that it would be written
    /// to.
    QByteArray failureLine(const Failure& failure) const;
    int failureFileDescriptor() const;
    /// Flushes standard output. Throws when it cannot be written.
    void flush();

private:
    Q_DISABLE_COPY(Output)

    int report(const Failure& failure);
    QByteArray toLine(QJsonObject object) const;
    void put(const QByteArray& bytes);
    void writeLine(const QByteArray& line);
    void beginLine();

    bool m_json = false;
    ScriptPlace m_place;
    bool m_isProgressOpen = false;
    bool m_isLineOpen = false; ///< the last text on standard output had no line feed
    int m_error = 0;           ///< errno of the first failed write to standard output
};

} // namespace Zendra::Runner
