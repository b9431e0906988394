#pragma once

#include <QString>
#include <QStringList>

#include <zendra/export.h>

namespace Zendra
{

/// The candidate that `word` is most likely a typing mistake for, whatever the case of its letters; empty
/// when none is close.
ZENDRA_EXPORT QString mostSimilar(const QString& word, const QStringList& candidates);

} // namespace Zendra
