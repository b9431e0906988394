#include "keysequence.h"

#include <QStringList>

#include <zendra/keynames.h>

#include "cli/failure.h"

namespace Zendra::Runner
{

namespace
{

/// So that the command notices soon when it is to stop.
constexpr int longestText = 500;

constexpr QLatin1Char plus('+');
constexpr QLatin1Char opening('<');
constexpr QLatin1Char closing('>');

void requireKeyName(const QString& name, const QString& combination)
{
    if (isKeyName(name))
        return;
    const QString similar = similarKeyName(name.trimmed());
    const QString hint = similar.isEmpty() ? QStringLiteral("'zendra --help' lists the names of keys")
                                           : QStringLiteral("did you mean '%1'?").arg(similar);
    const QString place = combination == name ? QString() : QStringLiteral(" in '%1'").arg(combination);
    throw usageFailure(QStringLiteral("'%1'%2 is no key; %3").arg(name, place, hint));
}

/// Checks the names between the angle brackets. The plus key is written last: "Ctrl++".
void checkCombination(const QString& inside)
{
    const QString shown = opening + inside + closing;
    if (inside.isEmpty())
        throw usageFailure(QStringLiteral("'<>' names no key; write <less> for a less-than sign"));
    if (inside == plus)
        throw usageFailure(QStringLiteral("'<+>' names no key; write + without brackets, or <Plus>"));

    const bool endsWithPlusKey = inside.endsWith(QLatin1String("++"));
    const QString names = endsWithPlusKey ? inside.chopped(2) : inside;
    if (names.isEmpty())
        return;
    for (const QString& name : names.split(plus)) {
        if (name.isEmpty()) {
            throw usageFailure(
                QStringLiteral("'%1' has a '+' without a key beside it; the plus key goes last, as in "
                               "<Ctrl++>, or is written Plus")
                    .arg(shown));
        }
        requireKeyName(name, shown);
    }
}

/// Where the combination that begins at `start` ends; "<Ctrl+>>" holds the greater-than key.
int closingBracket(const QString& sequence, int start)
{
    const int end = sequence.indexOf(closing, start);
    const bool isKey = end > start + 2 && sequence.at(end - 1) == plus && sequence.at(end - 2) != plus
        && end + 1 < sequence.size() && sequence.at(end + 1) == closing;
    return isKey ? end + 1 : end;
}

} // namespace

std::vector<KeyPiece> splitKeySequence(const QString& sequence)
{
    if (sequence.isEmpty())
        throw usageFailure(
            QStringLiteral("An empty sequence types nothing; give a text, such as 'hello<Enter>'"));

    std::vector<KeyPiece> pieces;
    int start = 0;
    while (start < sequence.size()) {
        if (sequence.at(start) != opening) {
            const int next = sequence.indexOf(opening, start);
            const int end = next < 0 ? sequence.size() : next;
            for (; start < end; start += longestText)
                pieces.push_back({sequence.mid(start, qMin(longestText, end - start)), false});
            start = end;
            continue;
        }
        const int end = closingBracket(sequence, start);
        if (end < 0) {
            throw usageFailure(
                QStringLiteral("The '<' at character %1 of '%2' is not closed; write <less> for a "
                               "less-than sign")
                    .arg(start + 1)
                    .arg(sequence));
        }
        checkCombination(sequence.mid(start + 1, end - start - 1));
        pieces.push_back({sequence.mid(start, end - start + 1), true});
        start = end + 1;
    }
    return pieces;
}

QString singleKeyName(const QString& argument)
{
    QString name = argument;
    if (name.size() > 1 && name.startsWith(opening) && name.endsWith(closing))
        name = name.mid(1, name.size() - 2);
    if (name.isEmpty())
        throw usageFailure(QStringLiteral("No key is named; give a character or a name such as '<Shift>'"));
    if (name.size() > 1 && name.contains(plus)) {
        throw usageFailure(
            QStringLiteral("'%1' is a combination, but one key is pressed or released at a time; "
                           "'zendra keys' types combinations")
                .arg(argument));
    }
    requireKeyName(name, argument);
    return name;
}

} // namespace Zendra::Runner
