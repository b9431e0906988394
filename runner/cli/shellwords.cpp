#include "shellwords.h"

#include <optional>

namespace Zendra::Runner
{

namespace
{

/// Reads one line from left to right.
class WordReader
{
public:
    explicit WordReader(const QString& line)
        : m_line(line)
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
            word() += character;
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
            word() += escapes ? m_line.at(m_position++) : character;
        }
        m_position = start;
        throw unclosed(QLatin1Char('"'));
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
    int m_position = 0;
    std::optional<QString> m_word;
    QStringList m_words;
};

} // namespace

QStringList splitShellWords(const QString& line)
{
    return WordReader(line).words();
}

} // namespace Zendra::Runner
