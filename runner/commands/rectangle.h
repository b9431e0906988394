#pragma once

#include <QString>

#include <zendra/geometry.h>

namespace Zendra::Runner
{

/// Reads "X,Y,W,H", in pixels; throws a Failure of status WrongUsage.
Rect toRect(const QString& text);

} // namespace Zendra::Runner
