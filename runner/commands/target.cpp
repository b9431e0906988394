#include "target.h"

#include <algorithm>

#include "cli/arguments.h"
#include "cli/failure.h"
#include "ranges.h"
#include "rectangle.h"
#include "session/session.h"

namespace Zendra::Runner
{

namespace
{

bool beginsWithNumber(const QString& word)
{
    static const QRegularExpression number(QStringLiteral("^[-+]?[0-9]"));
    return number.match(word).hasMatch();
}

} // namespace

Target takeTarget(QStringList& words, const QString& what)
{
    if (words.isEmpty())
        throw usageFailure(QStringLiteral("%1 is missing: X and Y, or a locator").arg(what));
    const QString first = words.takeFirst();
    if (!beginsWithNumber(first))
        return Locator(first);
    if (words.isEmpty())
        throw usageFailure(QStringLiteral("%1 needs both X and Y").arg(what));
    const int x = toNumber(first, coordinateRange, QStringLiteral("X"));
    const int y = toNumber(words.takeFirst(), coordinateRange, QStringLiteral("Y"));
    return QPoint(x, y);
}

void ElementSearch::declare(Arguments& arguments)
{
    arguments.text("--in PID|TITLE", m_in, "only elements of this process, or of windows with this title",
        Completion::WindowTitle);
    arguments.seconds(
        "--timeout SECONDS", m_seconds, 86400.0, "how long to wait for an element; 5 by default");
}

void ElementSearch::declareWithOrigin(Arguments& arguments)
{
    declare(arguments);
    m_origin.declare(arguments);
}

void ElementSearch::declareWithOffset(Arguments& arguments)
{
    declareWithOrigin(arguments);
    arguments.text(
        "--offset X,Y", m_offsetText, "where in an element, from its top left corner; its centre by default");
}

void ElementSearch::check(std::initializer_list<const Target*> targets)
{
    m_origin.check();
    const bool hasPosition = std::any_of(targets.begin(), targets.end(),
        [](const Target* target) { return target != nullptr && std::holds_alternative<QPoint>(*target); });
    if (m_origin.isGiven() && !hasPosition)
        throw usageFailure(QStringLiteral("--window needs X and Y"));
    if (!m_offsetText.isEmpty())
        m_offset = toPoint(m_offsetText, QStringLiteral("The offset"));
}

QDeadlineTimer ElementSearch::deadline() const
{
    return QDeadlineTimer(static_cast<qint64>(m_seconds * 1000.0), Qt::PreciseTimer);
}

Elements& ElementSearch::elements(Session& session) const
{
    Elements& elements = session.elements();
    elements.setScope(m_in);
    return elements;
}

QPoint ElementSearch::toScreen(Session& session, const QPoint& position) const
{
    const Point place = m_origin.toScreen(session, Point {position.x(), position.y(), -1});
    return {place.x, place.y};
}

QPoint ElementSearch::place(Session& session, const Target& target, bool mustBeEnabled) const
{
    if (const auto* position = std::get_if<QPoint>(&target))
        return toScreen(session, *position);
    const Elements::Need need = mustBeEnabled ? Elements::Need::EnabledPointer : Elements::Need::Pointer;
    const FoundElement found = elements(session).find(std::get<Locator>(target), need, m_offset, deadline());
    return placeIn(found.rect, m_offset);
}

} // namespace Zendra::Runner
