#include "rectangle.h"

#include <QStringList>

#include "cli/arguments.h"
#include "cli/failure.h"
#include "ranges.h"

namespace Zendra::Runner
{

Rect toRect(const QString& text)
{
    const QStringList numbers = text.split(QLatin1Char(','));
    if (numbers.size() != 4) {
        throw usageFailure(
            QStringLiteral("The rectangle '%1' is not written as X,Y,W,H, such as 10,20,300,200").arg(text));
    }
    Rect rect;
    rect.x = toNumber(numbers.at(0), coordinateRange, QStringLiteral("The rectangle's X"));
    rect.y = toNumber(numbers.at(1), coordinateRange, QStringLiteral("The rectangle's Y"));
    rect.width = toNumber(numbers.at(2), sizeRange, QStringLiteral("The rectangle's W"));
    rect.height = toNumber(numbers.at(3), sizeRange, QStringLiteral("The rectangle's H"));
    return rect;
}

QPoint toPoint(const QString& text, const QString& what)
{
    const QStringList numbers = text.split(QLatin1Char(','));
    if (numbers.size() != 2)
        throw usageFailure(QStringLiteral("%1 '%2' is not written as X,Y, such as 5,10").arg(what, text));
    return {toNumber(numbers.at(0), coordinateRange, what + QLatin1String("'s X")),
        toNumber(numbers.at(1), coordinateRange, what + QLatin1String("'s Y"))};
}

} // namespace Zendra::Runner
