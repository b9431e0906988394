#pragma once

#include <QString>
#include <QStringList>

#include "failure.h"

namespace Zendra::Runner
{

/// A quote without its end.
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

/// Splits a line of a script into words as a shell does. Single quotes preserve everything, double quotes all
/// but
/// \", \\, \$ and \`; elsewhere a backslash escapes the next character. A # at the start of a word begins a
/// comment.
///
/// There are no expansions. Throws an UnclosedQuote, or a Failure of status WrongUsage for a backslash at the
/// end.
QStringList splitShellWords(const QString& line);

} // namespace Zendra::Runner
