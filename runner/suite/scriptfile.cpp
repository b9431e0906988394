#include "scriptfile.h"

#include <optional>

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>

#include "cli/shellwords.h"
#include "cli/standardinput.h"
#include "cli/utf8.h"

namespace Zendra::Runner
{

namespace
{

/// The lines of a text file with the line ends of any system.
QList<QByteArray> splitLines(QByteArray content)
{
    const QByteArray byteOrderMark("\xef\xbb\xbf");
    if (content.startsWith(byteOrderMark))
        content.remove(0, byteOrderMark.size());
    return content.replace("\r\n", "\n").split('\n');
}

/// Reads the commands of a script one by one. A quoted text may span lines.
class LineReader
{
public:
    LineReader(const QByteArray& content, VariableValue value)
        : m_lines(splitLines(content))
        , m_value(std::move(value))
    {
    }

    bool atEnd() const { return m_next == m_lines.size(); }
    /// The line in which the next command begins.
    int number() const { return m_next + 1; }

    QStringList nextWords()
    {
        QByteArray text = m_lines.at(m_next++);
        try {
            return words(text);
        } catch (const UnclosedQuote& failure) {
            for (int next = m_next; next < m_lines.size(); ++next) {
                text += '\n' + m_lines.at(next);
                if (!m_lines.at(next).contains(static_cast<char>(failure.quote().unicode())))
                    continue;
                if (const auto whole = wordsUnlessOpen(text)) {
                    m_next = next + 1;
                    return *whole;
                }
            }
            throw;
        }
    }

private:
    QStringList words(const QByteArray& text) const
    {
        return splitShellWords(toText(text, QStringLiteral("This line")), m_value);
    }

    std::optional<QStringList> wordsUnlessOpen(const QByteArray& text) const
    {
        try {
            return words(text);
        } catch (const UnclosedQuote&) {
            return std::nullopt;
        }
    }

    const QList<QByteArray> m_lines;
    const VariableValue m_value;
    int m_next = 0;
};

/// Throws the failures of a script, limited in number.
void throwAll(std::vector<Failure> failures)
{
    constexpr std::size_t most = 20;
    if (failures.empty())
        return;
    Failure last = failures.back();
    if (failures.size() > most) {
        last = usageFailure(QStringLiteral("%1 more lines are wrong").arg(failures.size() - most));
        failures.resize(most + 1, last);
    }
    failures.pop_back();
    last.setEarlier(std::move(failures));
    throw Failure(last);
}

void requireWords(const QStringList& words, int count, const char* usage)
{
    if (words.size() != count)
        throw usageFailure(QStringLiteral("The line must be '%1'").arg(QLatin1String(usage)));
}

class ScriptReader
{
public:
    explicit ScriptReader(Variables variables)
        : m_variables(std::move(variables))
    {
    }

    void read(const QString& fileName)
    {
        const QString file = QFileInfo(fileName).canonicalFilePath();
        if (!file.isEmpty() && m_open.contains(file))
            throw usageFailure(QStringLiteral("'%1' includes itself").arg(fileName));
        const bool isInput = isStandardInput(fileName);
        const QString folder = isInput ? QString() : QFileInfo(fileName).path();
        LineReader reader(readFile(fileName, QStringLiteral("the script")),
            [this](const QString& name) { return m_variables.value(name); });
        m_open.append(file);
        while (!reader.atEnd()) {
            ScriptPlace place {isInput ? QStringLiteral("standard input") : fileName, reader.number(), {}};
            try {
                take(place, reader.nextWords(), folder);
            } catch (Failure& failure) {
                failure.setPlace(place);
                m_failures.push_back(failure);
            }
        }
        m_open.removeLast();
    }

    std::vector<ScriptLine> finish()
    {
        throwAll(std::move(m_failures));
        if (!m_lines.empty())
            m_lines.back().place.isLast = true;
        return std::move(m_lines);
    }

private:
    void take(ScriptPlace& place, QStringList words, const QString& folder)
    {
        if (words.isEmpty())
            return;
        place.command = words.first();
        if (words.first() == QLatin1String("set")) {
            requireWords(words, 3, "set NAME VALUE");
            m_variables.set(words.at(1), words.at(2));
        } else if (words.first() == QLatin1String("include")) {
            requireWords(words, 2, "include FILE");
            read(QDir(folder).filePath(words.at(1)));
        } else {
            m_lines.push_back({place, takeWhen(words), parse(words)});
        }
    }

    static ScriptLine::When takeWhen(QStringList& words)
    {
        ScriptLine::When when = ScriptLine::When::InOrder;
        if (words.first() == QLatin1String("on-failure"))
            when = ScriptLine::When::OnFailure;
        else if (words.first() == QLatin1String("finally"))
            when = ScriptLine::When::Finally;
        else
            return when;
        if (words.size() < 2)
            throw usageFailure(QStringLiteral("'%1' needs a command").arg(words.first()));
        words.removeFirst();
        return when;
    }

    /// What follows the program's name is for the program.
    static QStringList separated(QStringList words)
    {
        int program = 1;
        while (program < words.size() && words.at(program).startsWith(QLatin1String("--")))
            ++program;
        if (program < words.size() && words.at(program - 1) != QLatin1String("--"))
            words.insert(program, QStringLiteral("--"));
        return words;
    }

    static CommandPointer parse(const QStringList& words)
    {
        if (words.first() == QLatin1String("script")) {
            throw usageFailure(
                QStringLiteral("A script cannot run another script; 'include FILE' reads its lines"));
        }
        if (words.first() == QLatin1String("run") || words.first() == QLatin1String("test")) {
            throw usageFailure(
                QStringLiteral("A script cannot contain '%1'; 'start PROGRAM' starts a program")
                    .arg(words.first()));
        }
        return parseCommand(words.first() == QLatin1String("start") ? separated(words) : words);
    }

    Variables m_variables;
    std::vector<ScriptLine> m_lines;
    std::vector<Failure> m_failures;
    QStringList m_open; ///< the file that is read, and those that include it
};

} // namespace

Variables::Variables(const QStringList& assignments)
{
    for (const QString& assignment : assignments) {
        const int sign = assignment.indexOf(QLatin1Char('='));
        if (sign < 0)
            throw usageFailure(QStringLiteral("--set needs NAME=VALUE, not '%1'").arg(assignment));
        set(assignment.left(sign), assignment.mid(sign + 1));
    }
}

void Variables::set(const QString& name, const QString& value)
{
    static const QRegularExpression valid(QStringLiteral("\\A[A-Za-z_][A-Za-z0-9_]*\\z"));
    if (!valid.match(name).hasMatch()) {
        throw usageFailure(
            QStringLiteral("Not the name of a variable: '%1'; use letters, digits and underscores")
                .arg(name));
    }
    m_values[name] = value;
}

QString Variables::value(const QString& name) const
{
    const auto found = m_values.find(name);
    if (found != m_values.end())
        return found->second;
    const QByteArray local = name.toLocal8Bit();
    if (!qEnvironmentVariableIsSet(local.constData())) {
        throw usageFailure(
            QStringLiteral("There is no variable '%1'; set it with 'set %1 VALUE', with "
                           "--set %1=VALUE or in the environment, or write \\$ for a dollar sign")
                .arg(name));
    }
    return qEnvironmentVariable(local.constData());
}

std::vector<ScriptLine> readScript(const QString& fileName, Variables variables)
{
    ScriptReader reader(std::move(variables));
    reader.read(fileName);
    return reader.finish();
}

} // namespace Zendra::Runner
