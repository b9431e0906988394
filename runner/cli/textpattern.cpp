#include "textpattern.h"

#include "failure.h"

namespace Zendra::Runner
{

TextPattern::TextPattern(const QString& text)
    : TextPattern(text.size() > 2 && text.startsWith(QLatin1Char('/')) && text.endsWith(QLatin1Char('/'))
            ? fromExpression(text.mid(1, text.size() - 2))
            : fromWildcards(text))
{
}

TextPattern TextPattern::fromWildcards(const QString& text)
{
    TextPattern pattern;
    QString expression;
    bool hasWildcards = false;
    for (int index = 0; index < text.size(); ++index) {
        const QChar character = text.at(index);
        if (character == QLatin1Char('*') || character == QLatin1Char('?')) {
            hasWildcards = true;
            expression += character == QLatin1Char('*') ? QStringLiteral(".*") : QStringLiteral(".");
            pattern.m_plain += character;
            continue;
        }
        if (character == QLatin1Char('\\') && index + 1 < text.size())
            ++index;
        pattern.m_plain += text.at(index);
        expression += QRegularExpression::escape(QString(text.at(index)));
    }
    if (hasWildcards) {
        pattern.m_expression.emplace(
            QRegularExpression::anchoredPattern(expression), QRegularExpression::DotMatchesEverythingOption);
    }
    return pattern;
}

TextPattern TextPattern::fromExpression(const QString& expression)
{
    TextPattern pattern;
    pattern.m_plain = expression;
    pattern.m_expression.emplace(expression);
    if (!pattern.m_expression->isValid()) {
        throw usageFailure(QStringLiteral("Invalid regular expression /%1/: %2")
                               .arg(expression, pattern.m_expression->errorString()));
    }
    return pattern;
}

bool TextPattern::matches(const QString& text) const
{
    return m_expression ? m_expression->match(text).hasMatch() : text == m_plain;
}

} // namespace Zendra::Runner
