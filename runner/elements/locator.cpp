#include "locator.h"

#include <algorithm>
#include <utility>

#include <similar.h>

#include "cli/failure.h"

namespace Zendra::Runner
{

namespace
{

/// Reads a locator character by character.
class Reader
{
public:
    explicit Reader(const QString& text)
        : m_text(text)
    {
    }

    bool atEnd() const { return m_position >= m_text.size(); }
    QChar peek() const { return atEnd() ? QChar() : m_text.at(m_position); }
    int position() const { return m_position; }
    QString since(int start) const { return m_text.mid(start, m_position - start).trimmed(); }

    void skipBlanks()
    {
        while (!atEnd() && peek().isSpace())
            ++m_position;
    }

    bool take(char character)
    {
        if (peek() != QLatin1Char(character))
            return false;
        ++m_position;
        return true;
    }

    bool takeText(QLatin1String text)
    {
        if (!QStringView(m_text).mid(m_position).startsWith(text))
            return false;
        m_position += text.size();
        return true;
    }

    QString word()
    {
        const int start = m_position;
        while (!atEnd() && (peek().isLetterOrNumber() || peek() == QLatin1Char('-')))
            ++m_position;
        return m_text.mid(start, m_position - start);
    }

    /// Up to the next blank or '>'.
    QString plainValue()
    {
        const int start = m_position;
        while (!atEnd() && !peek().isSpace() && peek() != QLatin1Char('>') && peek() != QLatin1Char('[')
            && peek() != QLatin1Char('#'))
            ++m_position;
        return m_text.mid(start, m_position - start);
    }

    /// The text up to `end`, behind which the reader stops. A backslash protects the character behind it.
    QString upTo(char end, const char* whatIsOpen)
    {
        const int start = m_position;
        for (; !atEnd(); ++m_position) {
            if (peek() == QLatin1Char('\\'))
                ++m_position;
            else if (peek() == QLatin1Char(end))
                return m_text.mid(start, m_position++ - start);
        }
        fail(QStringLiteral("%1 is not closed").arg(QLatin1String(whatIsOpen)));
    }

    [[noreturn]] void fail(const QString& reason) const
    {
        throw usageFailure(QStringLiteral("Invalid locator '%1': %2").arg(m_text, reason));
    }

private:
    const QString& m_text;
    int m_position = 0;
};

QString withoutBackslashes(const QString& text)
{
    QString plain;
    for (int index = 0; index < text.size(); ++index) {
        if (text.at(index) == QLatin1Char('\\') && index + 1 < text.size())
            ++index;
        plain += text.at(index);
    }
    return plain;
}

void readRole(Reader& reader, LocatorStep& step)
{
    const QString name = reader.word();
    const std::vector<int> roles = rolesNamed(name);
    if (roles.empty()) {
        const QString similar = mostSimilar(name, roleNames());
        const QString hint = similar.isEmpty()
            ? QStringLiteral("a role is one such as button, field, menu or window; a name stands in quotes")
            : QStringLiteral("did you mean '%1'? A name stands in quotes").arg(similar);
        reader.fail(QStringLiteral("unknown role '%1'; %2").arg(name, hint));
    }
    step.roles = roles;
    step.isField = name == QLatin1String("field");
}

void readState(Reader& reader, LocatorStep& step)
{
    reader.skipBlanks();
    const bool isWanted = !reader.take('!');
    const QString name = reader.word();
    const int state = stateNamed(name);
    if (state < 0) {
        const QString similar = mostSimilar(name, stateNames());
        const QString hint = similar.isEmpty()
            ? QStringLiteral("states are enabled, focused, checked, selected, expanded and so on")
            : QStringLiteral("did you mean '%1'?").arg(similar);
        reader.fail(QStringLiteral("unknown state '%1'; %2").arg(name, hint));
    }
    reader.skipBlanks();
    if (!reader.take(']'))
        reader.fail(QStringLiteral("']' is missing behind the state '%1'").arg(name));
    step.states.push_back({state, isWanted});
}

void readNumber(Reader& reader, LocatorStep& step)
{
    bool isNumber = false;
    step.number = reader.word().toInt(&isNumber);
    if (!isNumber || step.number < 1)
        reader.fail(QStringLiteral("'#' is followed by a number from 1"));
}

LocatorStep readStep(Reader& reader)
{
    LocatorStep step;
    bool hasRole = false;
    const int start = reader.position();
    const auto once = [&reader](bool isFirst, const char* what) {
        if (!isFirst)
            reader.fail(
                QStringLiteral("a second %1 in one step; '>' separates steps").arg(QLatin1String(what)));
    };
    for (reader.skipBlanks(); !reader.atEnd() && reader.peek() != QLatin1Char('>'); reader.skipBlanks()) {
        if (reader.take('"')) {
            once(!step.name, "name");
            step.name = NamePattern::fromQuoted(reader.upTo('"', "the quote"));
        } else if (reader.take('/')) {
            once(!step.name, "name");
            step.name = NamePattern::fromExpression(reader.upTo('/', "the regular expression"));
        } else if (reader.take('[')) {
            readState(reader, step);
        } else if (reader.take('#')) {
            once(step.number == 0, "number");
            readNumber(reader, step);
        } else if (reader.take('*')) {
            once(!std::exchange(hasRole, true), "role");
        } else if (reader.peek().isLetter()) {
            if (reader.takeText(QLatin1String("id="))) {
                once(step.id.isEmpty(), "id");
                step.id = reader.take('"') ? withoutBackslashes(reader.upTo('"', "the quote"))
                                           : reader.plainValue();
                if (step.id.isEmpty())
                    reader.fail(QStringLiteral("'id=' is followed by an identifier"));
                continue;
            }
            once(!std::exchange(hasRole, true), "role");
            readRole(reader, step);
        } else {
            reader.fail(QStringLiteral("unexpected '%1'").arg(reader.peek()));
        }
    }
    step.text = reader.since(start);
    if (step.text.isEmpty())
        reader.fail(QStringLiteral("a step is empty; it is a ROLE, a \"NAME\", or both"));
    return step;
}

} // namespace

QString normalizedName(const QString& name)
{
    QString plain = name.trimmed();
    plain.remove(QLatin1Char('_'));
    plain.replace(QStringLiteral("..."), QStringLiteral("…"));
    return plain;
}

QString quotedName(const QString& name)
{
    QString quoted;
    for (const QChar character : name) {
        if (QStringLiteral("\"*?\\").contains(character))
            quoted += QLatin1Char('\\');
        quoted += character;
    }
    return QLatin1Char('"') + quoted + QLatin1Char('"');
}

NamePattern::NamePattern(TextPattern pattern)
    : m_pattern(std::move(pattern))
    , m_plain(normalizedName(m_pattern.plainText()))
{
}

NamePattern NamePattern::fromQuoted(const QString& quoted)
{
    return NamePattern(TextPattern::fromWildcards(normalizedName(quoted)));
}

NamePattern NamePattern::fromExpression(const QString& expression)
{
    return NamePattern(TextPattern::fromExpression(expression));
}

bool NamePattern::matches(const QString& name) const
{
    return m_pattern.matches(normalizedName(name)) || m_pattern.matches(name);
}

bool LocatorStep::filtersVisibility() const
{
    return std::any_of(states.begin(), states.end(), [](const StateFilter& filter) {
        return filter.state == State::Showing || filter.state == State::Visible;
    });
}

Locator::Locator(const QString& text)
    : m_text(text.trimmed())
{
    Reader reader(m_text);
    do
        m_steps.push_back(readStep(reader));
    while (reader.take('>'));
}

Locator Locator::withRoles(const QStringList& names) const
{
    Locator changed(*this);
    LocatorStep& step = changed.m_steps.back();
    step.roles.emplace();
    for (const QString& name : names) {
        const std::vector<int> roles = rolesNamed(name);
        step.roles->insert(step.roles->end(), roles.begin(), roles.end());
    }
    step.isField = names == QStringList {QStringLiteral("field")};
    if (names.size() == 1) {
        changed.m_text.chop(step.text.size());
        step.text.prepend(names.first() + QLatin1Char(' '));
        changed.m_text += step.text;
    }
    return changed;
}

Locator Locator::inside(const Locator& outer) const
{
    Locator changed(*this);
    changed.m_steps.insert(changed.m_steps.begin(), outer.m_steps.begin(), outer.m_steps.end());
    changed.m_text = outer.m_text + QLatin1String(" > ") + m_text;
    return changed;
}

} // namespace Zendra::Runner
