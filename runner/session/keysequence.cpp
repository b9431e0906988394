#include "keysequence.h"

#include <QStringList>

#include <zendra/keynames.h>

#include "cli/failure.h"

namespace Zendra::Runner
{

namespace
{

/// Limits the time until an interruption is noticed.
constexpr int longestText = 500;

constexpr QLatin1Char plus('+');
constexpr QLatin1Char opening('<');
constexpr QLatin1Char closing('>');

void requireUsable(const QString& errorText)
{
    if (!errorText.isEmpty())
        throw usageFailure(errorText);
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
        requireUsable(keyCombinationError(sequence.mid(start + 1, end - start - 1)));
        pieces.push_back({sequence.mid(start, end - start + 1), true});
        start = end + 1;
    }
    return pieces;
}

QStringList combinationNames(const QString& combination)
{
    const QString inside = combination.mid(1, combination.size() - 2);
    QStringList names = inside.split(plus, Qt::SkipEmptyParts);
    if (inside.endsWith(QLatin1String("++")))
        names.append(QString(plus));
    return names;
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
    requireUsable(keyNameError(name, argument));
    return name;
}

} // namespace Zendra::Runner
