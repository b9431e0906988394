#pragma once

#include <QString>
#include <QStringList>

#include "failure.h"

namespace Zendra::Runner
{

/// A quote that the text does not close.
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

/// Splits a script's line into words as a shell does: 'single quotes' keep everything, "double quotes" keep
/// all but
/// \" \\ \$ and \`, a backslash outside keeps the next character, and # at the start of a word begins a
/// comment.
///
/// Nothing is expanded. Throws an UnclosedQuote, or a Failure of status WrongUsage for a backslash at the
/// end.
QStringList splitShellWords(const QString& line);

} // namespace Zendra::Runner
