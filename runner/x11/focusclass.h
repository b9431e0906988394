#pragma once

#include <QByteArray>
#include <QString>

namespace Zendra::Runner
{

/// The class of the window with the focus, as in WM_CLASS; empty when it has none.
QString focusClass(const QByteArray& displayName);

} // namespace Zendra::Runner
