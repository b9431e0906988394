#pragma once

#include <QPoint>
#include <QString>

namespace Zendra::Runner
{

class Elements;

/// The shortest locator that finds exactly the element at a place of the screen. Throws a Failure where there
/// is none.
QString pickLocator(Elements& elements, const QPoint& place);

} // namespace Zendra::Runner
