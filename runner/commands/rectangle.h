#pragma once

#include <QPoint>
#include <QString>

#include <zendra/geometry.h>

namespace Zendra::Runner
{

/// Reads "X,Y,W,H", in pixels; throws a Failure of status WrongUsage.
Rect toRect(const QString& text);
/// A position written as X,Y; `what` names it in the Failure that is thrown for another text.
QPoint toPoint(const QString& text, const QString& what);

} // namespace Zendra::Runner
