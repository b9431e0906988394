#include "screenarea.h"

#include "cli/arguments.h"
#include "cli/failure.h"
#include "rectangle.h"
#include "session/session.h"

namespace Zendra::Runner
{

void ScreenArea::declareWithTimeout(Arguments& arguments)
{
    declareOptions(arguments);
    m_search.declareWithOrigin(arguments);
}

void ScreenArea::declare(Arguments& arguments)
{
    declareOptions(arguments);
    m_search.declareForArea(arguments);
}

void ScreenArea::declareOptions(Arguments& arguments)
{
    arguments.text("--area X,Y,W,H", m_areaText, "the part of the screen, in pixels; by default all of it");
    arguments.text("--of LOCATOR", m_ofText, "the part of the screen that an element or a picture has",
        Completion::Locator);
}

void ScreenArea::check()
{
    if (!m_areaText.isEmpty())
        m_area = toRect(m_areaText);
    if (!m_ofText)
        return m_search.checkArea(nullptr);
    if (!m_areaText.isEmpty())
        throw usageFailure(QStringLiteral("--of and --area cannot be combined"));
    m_of = toTarget(*m_ofText);
    m_search.checkArea(&*m_of);
}

int ScreenArea::longestTime() const
{
    constexpr int others = 6000; // milliseconds for a window, and for the connection to the accessibility bus
    return static_cast<int>(m_search.seconds() * 1000.0) + others;
}

Rect ScreenArea::find(Session& session, const QDeadlineTimer& deadline) const
{
    if (!m_of)
        return m_search.origin().toScreen(session, m_area);
    const QRect rect = m_search.area(session, *m_of, deadline);
    return {rect.x(), rect.y(), rect.width(), rect.height(), -1};
}

QString ScreenArea::givenOptions() const
{
    if (m_ofText)
        return QStringLiteral("--of '%1' ").arg(*m_ofText);
    return m_areaText.isEmpty() ? QString() : QStringLiteral("--area %1 ").arg(m_areaText);
}

} // namespace Zendra::Runner
