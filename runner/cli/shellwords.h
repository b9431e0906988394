#pragma once

#include <functional>

#include <QString>
#include <QStringList>

#include "failure.h"

namespace Zendra::Runner
{

/// Thrown for a quote that is not closed.
class UnclosedQuote final : public Failure
{
public:
    UnclosedQuote(QChar quote, const QString& text)
        : Failure(ExitStatus::WrongUsage, text)
        , m_quote(quote)
    {
    }
    QChar quote() const { return m_quote; }

private:
    QChar m_quote;
};

/// The value of a variable; throws a Failure if there is none of this name.
using VariableValue = std::function<QString(const QString& name)>;

/// Splits a line of a script into words as a POSIX shell does: single and double quotes, backslashes, and a #
/// that begins a comment at the start of a word. With `value`, $NAME and ${NAME} are replaced where a shell
/// does so; the value is not split.
///
/// Throws an UnclosedQuote, or a Failure of status WrongUsage for a backslash at the end.
QStringList splitShellWords(const QString& line, const VariableValue& value = {});

} // namespace Zendra::Runner
