#pragma once

#include <QJsonObject>
#include <QString>

#include "failure.h"

namespace Zendra::Runner
{

/// Writes results and failures, for people or as JSON.
///
/// People read results on standard output and failures on standard error. A program that asked for JSON reads
/// one object a line on standard output, results and failures alike, and standard error stays empty.
class Output
{
public:
    Output() = default;

    void setJson(bool json) { m_json = json; }

    /// Writes a result: `text` (without its last line end) for people, `object` for programs.
    void result(const QString& text, const QJsonObject& object);
    /// Writes a failure as exactly one line and returns the exit status for it.
    int failure(const Failure& failure);
    /// Hands everything to the system; throws when standard output does not take it.
    void flush();

private:
    Q_DISABLE_COPY(Output)

    bool m_json = false;
};

} // namespace Zendra::Runner
