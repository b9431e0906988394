#pragma once

#include <QJsonObject>
#include <QString>

#include "failure.h"

namespace Zendra::Runner
{

/// A text of another program's with its control characters made visible.
QString onOneLine(const QString& text);

/// Writes results and failures, for people or as JSON.
///
/// People read results on standard output and failures on standard error. A program that asked for JSON reads
/// one object a line on standard output, results and failures alike, and standard error stays empty.
class Output
{
public:
    Output() = default;

    void setJson(bool json) { m_json = json; }
    /// What follows comes from this line of a script: a result for programs says so, and a text ends with a
    /// line feed. A place without a file name ends that.
    void setPlace(const ScriptPlace& place) { m_place = place; }

    /// Writes a result: `text` (without its last line end) for people, `object` for programs.
    void result(const QString& text, const QJsonObject& object);
    /// Writes a text that is the result itself: for people as it is, with a line end only where a terminal
    /// or the next result needs one.
    void text(const QString& text, const QJsonObject& object);
    /// Writes bytes that are the result itself; throws where the output is JSON.
    void data(const QByteArray& bytes);
    /// Writes a result that tells people nothing new.
    void resultForPrograms(const QJsonObject& object);
    /// Shows people at a terminal how far a command is, in a line of standard error that replaces the last
    /// one.
    void progress(const QString& line);
    /// Leaves the last line of progress where it is.
    void endProgress();
    /// Writes a failure as exactly one line and returns the exit status for it.
    int failure(const Failure& failure);
    /// The line that failure() would write, with its end, and the file descriptor that it would be written
    /// to.
    QByteArray failureLine(const Failure& failure) const;
    int failureFileDescriptor() const;
    /// Hands everything to the system; throws when standard output does not take it.
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
    bool m_isLineOpen = false; ///< whether the last text on standard output lacks its line end
    int m_error = 0;           ///< why standard output did not take something, from when that was noticed
};

} // namespace Zendra::Runner
