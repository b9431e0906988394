#include "shellwords.h"

#include <optional>

#include <QRegularExpression>

namespace Zendra::Runner
{

namespace
{

/// Reads one line from left to right.
class WordReader
{
public:
    WordReader(const QString& line, const VariableValue& value)
        : m_line(line)
        , m_value(value)
    {
    }

    QStringList words()
    {
        while (m_position < m_line.size() && readCharacter()) { }
        endWord();
        return m_words;
    }

private:
    /// Returns false at a comment.
    bool readCharacter()
    {
        const QChar character = m_line.at(m_position++);
        if (character == QLatin1Char('#') && !m_word)
            return false;
        if (character.isSpace())
            endWord();
        else if (character == QLatin1Char('\''))
            readSingleQuotes();
        else if (character == QLatin1Char('"'))
            readDoubleQuotes();
        else if (character == QLatin1Char('\\'))
            word() += escaped();
        else
            addExpanded(character);
        return true;
    }

    void readSingleQuotes()
    {
        const int end = m_line.indexOf(QLatin1Char('\''), m_position);
        if (end < 0)
            throw unclosed(QLatin1Char('\''));
        word().append(m_line.constData() + m_position, end - m_position);
        m_position = end + 1;
    }

    void readDoubleQuotes()
    {
        const int start = m_position;
        word();
        while (m_position < m_line.size()) {
            const QChar character = m_line.at(m_position++);
            if (character == QLatin1Char('"'))
                return;
            const bool escapes = character == QLatin1Char('\\') && m_position < m_line.size()
                && QLatin1String("\"\\$`").contains(m_line.at(m_position));
            if (escapes)
                word() += m_line.at(m_position++);
            else
                addExpanded(character);
        }
        m_position = start;
        throw unclosed(QLatin1Char('"'));
    }

    /// Adds a character, or the value of the variable whose name follows a dollar sign.
    void addExpanded(QChar character)
    {
        QString& current = word();
        if (character != QLatin1Char('$') || !m_value) {
            current += character;
            return;
        }
        static const QRegularExpression name(QStringLiteral("\\G(?:([A-Za-z_][A-Za-z0-9_]*)|\\{([^}]*)\\})"));
        const QRegularExpressionMatch match = name.match(m_line, m_position, QRegularExpression::NormalMatch);
        if (!match.hasMatch()) {
            current += character; // as in "5 $"
            return;
        }
        m_position = match.capturedEnd();
        current += m_value(match.captured(match.lastCapturedIndex()));
    }

    QChar escaped()
    {
        if (m_position == m_line.size())
            throw usageFailure(QStringLiteral("The line ends in a backslash; lines cannot be continued"));
        return m_line.at(m_position++);
    }

    UnclosedQuote unclosed(QChar quote) const
    {
        return {
            quote, QStringLiteral("The quote %1 at character %2 is not closed").arg(quote).arg(m_position)};
    }

    /// The current word; begins one, which may stay empty ('').
    QString& word()
    {
        if (!m_word)
            m_word.emplace();
        return *m_word;
    }

    void endWord()
    {
        if (m_word)
            m_words.append(*m_word);
        m_word.reset();
    }

    const QString& m_line;
    const VariableValue& m_value;
    int m_position = 0;
    std::optional<QString> m_word;
    QStringList m_words;
};

} // namespace

QStringList splitShellWords(const QString& line, const VariableValue& value)
{
    return WordReader(line, value).words();
}

} // namespace Zendra::Runner
