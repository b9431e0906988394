#pragma once

#include <QStringList>

namespace Zendra::Runner
{

// What a shell completes that depends on the state of the system. A display that does not reply in time ends
// the process.

QStringList listeningProcessIds();

/// The locators that `begun`, whose last step has only the beginning of a role, may become.
QStringList locators(const QString& begun);

/// The titles of the windows on a display; the one that $DISPLAY names if `display` is empty.
QStringList windowTitles(const QString& display);

} // namespace Zendra::Runner
