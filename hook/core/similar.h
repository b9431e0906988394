#pragma once

#include <QString>
#include <QStringList>

#include <zendra/export.h>

namespace Zendra
{

/// The candidate closest to `word`, ignoring case; empty if none is close.
ZENDRA_EXPORT QString mostSimilar(const QString& word, const QStringList& candidates);

} // namespace Zendra
