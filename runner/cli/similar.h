#pragma once

#include <QString>
#include <QStringList>

namespace Zendra::Runner
{

/// The candidate that `word` is most likely a slip of the fingers for; empty when none is close.
QString mostSimilar(const QString& word, const QStringList& candidates);

/// The words that `begun` may become; upper and lower case are the same.
QStringList startingWith(const QString& begun, const QStringList& words);

} // namespace Zendra::Runner
