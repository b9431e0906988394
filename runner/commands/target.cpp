#include "target.h"

#include <algorithm>

#include "cli/arguments.h"
#include "cli/failure.h"
#include "ranges.h"
#include "rectangle.h"
#include "session/session.h"

namespace Zendra::Runner
{

bool beginsWithNumber(const QString& word)
{
    static const QRegularExpression number(QStringLiteral("^[-+]?[0-9]"));
    return number.match(word).hasMatch();
}

Target toTarget(const QString& locator)
{
    if (PictureLocator::isOne(locator))
        return PictureLocator(locator);
    return Locator(locator);
}

Target takeTarget(QStringList& words, const QString& what)
{
    if (words.isEmpty())
        throw usageFailure(QStringLiteral("%1 is missing: X and Y, or a locator").arg(what));
    const QString first = words.takeFirst();
    if (!beginsWithNumber(first))
        return toTarget(first);
    if (words.isEmpty())
        throw usageFailure(QStringLiteral("%1 needs both X and Y").arg(what));
    const int x = toNumber(first, coordinateRange, QStringLiteral("X"));
    const int y = toNumber(words.takeFirst(), coordinateRange, QStringLiteral("Y"));
    return QPoint(x, y);
}

void ElementSearch::declare(Arguments& arguments)
{
    declareScope(arguments);
    declareTimeout(arguments);
}

void ElementSearch::declareScope(Arguments& arguments)
{
    arguments.text("--in PID|TITLE", m_in, "only elements of this process, or of windows with this title",
        Completion::WindowTitle);
}

void ElementSearch::declareTimeout(Arguments& arguments)
{
    arguments.timeout(m_seconds, "how long to wait for an element; 5 by default");
}

void ElementSearch::declareWithOrigin(Arguments& arguments)
{
    declareForArea(arguments);
    declareTimeout(arguments);
}

void ElementSearch::declareForArea(Arguments& arguments)
{
    declareScope(arguments);
    m_origin.declare(arguments);
    arguments.text("--similarity N", m_similarityText,
        "how similar the screen must be to a picture, from 0.1 to 1; 0.95 by default");
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
    checkPicture(targets);
}

void ElementSearch::checkArea(const Target* target)
{
    m_origin.check();
    if (target != nullptr && m_origin.isGiven())
        throw usageFailure(QStringLiteral("--of and --window cannot be combined; --in limits the search"));
    if (target == nullptr && !(m_in.isEmpty() && m_similarityText.isEmpty()))
        throw usageFailure(QStringLiteral("--in and --similarity need --of"));
    checkPicture({target});
}

void ElementSearch::checkPicture(std::initializer_list<const Target*> targets)
{
    if (!m_similarityText.isEmpty()) {
        bool isNumber = false;
        m_similarity = m_similarityText.toDouble(&isNumber);
        if (!isNumber || !(m_similarity >= 0.1 && m_similarity <= 1.0)) {
            throw usageFailure(
                QStringLiteral("The similarity '%1' is not a number from 0.1 to 1").arg(m_similarityText));
        }
    }
    const bool hasPicture = std::any_of(targets.begin(), targets.end(), [](const Target* target) {
        return target != nullptr && std::holds_alternative<PictureLocator>(*target);
    });
    bool isProcess = false;
    m_in.toLongLong(&isProcess);
    if (hasPicture && isProcess)
        throw usageFailure(QStringLiteral("A picture is searched for --in the TITLE of a window"));
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

QRect ElementSearch::find(
    Session& session, const PictureLocator& picture, const QDeadlineTimer& deadline) const
{
    Rect part {0, 0, -1, -1, -1};
    if (!m_in.isEmpty()) {
        DesktopWindows desktop = openDesktop(session);
        const auto timeout = static_cast<int>(deadline.remainingTime());
        part = WindowSelector(m_in).waitFor(session, desktop, timeout, true).area;
    }
    return picture.find(session, part, m_similarity, deadline);
}

QRect ElementSearch::area(Session& session, const Target& target, const QDeadlineTimer& deadline) const
{
    if (const auto* picture = std::get_if<PictureLocator>(&target))
        return find(session, *picture, deadline);
    const Locator& locator = std::get<Locator>(target);
    const QRect rect = elements(session).find(locator, Elements::Need::Showing, {}, deadline).rect;
    if (rect.width() <= 0 || rect.height() <= 0)
        throw operationFailure(QStringLiteral("%1 has no size").arg(locator.text()));
    return rect;
}

QPoint ElementSearch::place(Session& session, const Target& target, bool mustBeEnabled) const
{
    if (const auto* position = std::get_if<QPoint>(&target))
        return toScreen(session, *position);
    if (const auto* picture = std::get_if<PictureLocator>(&target))
        return placeIn(find(session, *picture, deadline()), m_offset);
    const Elements::Need need = mustBeEnabled ? Elements::Need::EnabledPointer : Elements::Need::Pointer;
    const FoundElement found = elements(session).find(std::get<Locator>(target), need, m_offset, deadline());
    return placeIn(found.rect, m_offset);
}

} // namespace Zendra::Runner
