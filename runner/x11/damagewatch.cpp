#include "damagewatch.h"

#include "cli/failure.h"

#include <X11/Xlib.h>
#include <X11/extensions/Xdamage.h>

namespace Zendra::Runner
{

DamageWatch::DamageWatch(const QByteArray& displayName)
    : m_connection(openConnection(displayName))
{
    Display* display = m_connection.get();
    int firstError = 0;
    if (XDamageQueryExtension(display, &m_firstEvent, &firstError) == False)
        throw operationFailure(QStringLiteral("The X server does not support the extension DAMAGE"));
    m_damage = XDamageCreate(display, DefaultRootWindow(display), XDamageReportDeltaRectangles);
    // The first event is about the whole screen.
    XSync(display, False);
    take();
}

std::vector<QRect> DamageWatch::take()
{
    Display* display = m_connection.get();
    std::vector<QRect> areas;
    while (XPending(display) > 0) {
        XEvent event;
        XNextEvent(display, &event);
        if (event.type != m_firstEvent + XDamageNotify)
            continue;
        const XRectangle& area = reinterpret_cast<const XDamageNotifyEvent*>(&event)->area;
        areas.emplace_back(area.x, area.y, area.width, area.height);
    }
    if (!areas.empty()) {
        // Only what is not in the region yet is reported.
        XDamageSubtract(display, m_damage, None, None);
        XFlush(display);
    }
    return areas;
}

int DamageWatch::fileDescriptor() const
{
    return ConnectionNumber(m_connection.get());
}

} // namespace Zendra::Runner
