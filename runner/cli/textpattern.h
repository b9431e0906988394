#pragma once

#include <optional>

#include <QRegularExpression>
#include <QString>

namespace Zendra::Runner
{

/// A text that another is compared with: exact, with wildcards, or a regular expression.
///
/// * matches any text and ? any character, unless a backslash precedes them. /REGEX/ is a regular
/// expression of PCRE, which may match a part.
class TextPattern
{
public:
    /// Throws a Failure of status WrongUsage for an invalid regular expression.
    explicit TextPattern(const QString& text);
    static TextPattern fromWildcards(const QString& text);
    static TextPattern fromExpression(const QString& expression);

    bool matches(const QString& text) const;
    /// The text without backslashes; the expression if it is one.
    const QString& plainText() const { return m_plain; }

private:
    TextPattern() = default;

    QString m_plain;
    std::optional<QRegularExpression> m_expression; ///< none for an exact text
};

} // namespace Zendra::Runner
