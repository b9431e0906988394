#pragma once

#include <QtGlobal>

namespace Zendra::Runner
{

/// Whether a process is `ancestor`, its child, and so on.
bool isDescendant(qint64 process, qint64 ancestor);

} // namespace Zendra::Runner
