#pragma once

#include <exception>
#include <utility>
#include <vector>

#include <QJsonObject>
#include <QString>

namespace Zendra::Runner
{

/// Exit statuses of the command. Scripts rely on the numbers.
enum class ExitStatus { Done = 0, OperationFailed = 1, WrongUsage = 2, Unreachable = 3, ConnectionLost = 4 };

/// A line of a script. The file name is empty for the command line.
struct ScriptPlace {
    QString file;
    int line = 0;
    QString command;
    bool isLast = false; ///< whether no other line follows
};

/// Ends a command with an exit status and one sentence for the user.
class Failure : public std::exception
{
public:
    Failure(ExitStatus status, QString text)
        : m_status(status)
        , m_text(std::move(text))
    {
    }

    ExitStatus status() const { return m_status; }
    const QString& text() const { return m_text; }
    /// Whether the application that was lost may have ended as a result of the script.
    bool isApplicationEnd() const { return m_isApplicationEnd; }
    void setApplicationEnd() { m_isApplicationEnd = true; }
    const ScriptPlace& place() const { return m_place; }
    void setPlace(const ScriptPlace& place) { m_place = place; }
    /// Failures that are to be reported before this one.
    const std::vector<Failure>& earlier() const { return m_earlier; }
    void setEarlier(std::vector<Failure> failures) { m_earlier = std::move(failures); }
    /// Fields for the JSON output.
    const QJsonObject& details() const { return m_details; }
    Failure withDetails(const QJsonObject& details) const
    {
        Failure failure(*this);
        failure.m_details = details;
        return failure;
    }

private:
    ExitStatus m_status;
    QString m_text;
    bool m_isApplicationEnd = false;
    ScriptPlace m_place;
    QJsonObject m_details;
    std::vector<Failure> m_earlier;
};

inline Failure usageFailure(const QString& text)
{
    return {ExitStatus::WrongUsage, text};
}

inline Failure operationFailure(const QString& text)
{
    return {ExitStatus::OperationFailed, text};
}

inline Failure cannotWrite(const QString& fileName, const QString& reason)
{
    return operationFailure(QStringLiteral("Cannot write '%1': %2").arg(fileName, reason));
}

/// Throws when an operation of the platform returned an error text.
inline void require(const QString& errorText)
{
    if (!errorText.isEmpty())
        throw operationFailure(errorText);
}

} // namespace Zendra::Runner
