#pragma once

#include <vector>

#include <QString>
#include <QStringList>

namespace Zendra::Runner
{

/// A piece of a key sequence: literal text, or a combination with its angle brackets.
struct KeyPiece {
    QString text;
    bool isCombination = false;

    friend bool operator==(const KeyPiece& left, const KeyPiece& right)
    {
        return left.text == right.text && left.isCombination == right.isCombination;
    }
};

/// Splits "hello<Ctrl+a><Del>" into literal text and combinations.
///
/// Throws a Failure of status WrongUsage unless every combination is complete and made of names of keys.
std::vector<KeyPiece> splitKeySequence(const QString& sequence);

/// The names in a combination with its angle brackets, in order.
QStringList combinationNames(const QString& combination);

/// The name of the one key in `argument`: "a", "Shift" or "<Shift>". Throws as above.
QString singleKeyName(const QString& argument);

} // namespace Zendra::Runner
