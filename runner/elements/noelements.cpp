// In the place of what finds elements, in a build without it.

#include "cli/failure.h"
#include "commands/commands.h"
#include "elements.h"

namespace Zendra::Runner
{

std::unique_ptr<Elements> openElements(Session&)
{
    throw operationFailure(QStringLiteral("This zendra was built without elements (ZENDRA_ELEMENTS=OFF)"));
}

// Never called: there is no object.

void Elements::setScope(const QString&) { }

FoundElement Elements::find(const Locator&, Need, const std::optional<QPoint>&, const QDeadlineTimer&)
{
    return {};
}

QPoint placeIn(const QRect&, const std::optional<QPoint>&)
{
    return {};
}

CommandGroup elementCommands()
{
    return {"Elements", nullptr, nullptr};
}

} // namespace Zendra::Runner
