#include "windoworigin.h"

#include "cli/arguments.h"
#include "session/session.h"

namespace Zendra::Runner
{

namespace
{

constexpr int windowTimeout = 5000; ///< milliseconds

} // namespace

void WindowOrigin::declare(Arguments& arguments)
{
    arguments.text("--window WINDOW", m_text,
        "coordinates are relative to this window: its title, or its id, such as 0x800007",
        Completion::WindowTitle);
}

void WindowOrigin::check()
{
    if (m_text)
        m_selector.emplace(*m_text);
}

Point WindowOrigin::toScreen(Session& session, const Point& place) const
{
    if (!isGiven())
        return place;
    const Rect window = windowArea(session);
    return {window.x + place.x, window.y + place.y, window.screen};
}

Rect WindowOrigin::toScreen(Session& session, const Rect& area) const
{
    if (!isGiven())
        return area;
    const Rect window = windowArea(session);
    if (window.screen != DesktopWindows(session.displayName()).defaultScreen()) {
        throw operationFailure(QStringLiteral("The window '%1' is on screen %2; select that with --display")
                                   .arg(m_selector->text())
                                   .arg(window.screen));
    }
    return area.width < 0
        ? window
        : Rect {window.x + area.x, window.y + area.y, area.width, area.height, window.screen};
}

Rect WindowOrigin::windowArea(Session& session) const
{
    DesktopWindows desktop = openDesktop(session);
    return m_selector->waitFor(session, desktop, windowTimeout, true).area;
}

} // namespace Zendra::Runner
