#include "elements.h"

#include <algorithm>
#include <utility>

#include <signal.h>
#include <unistd.h>

#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimer>

#include <zendra/nativeinterface.h>

#include "cli/failure.h"
#include "process/processtree.h"
#include "remote/applications.h"
#include "session/session.h"

namespace Zendra::Runner
{

namespace
{

/// How long an element must not move, in milliseconds: a frame, so that it is equal in two.
constexpr int frameTime = 17;
/// How often elements are looked at although no event has come, in milliseconds: toolkits do not report all
/// changes.
constexpr int lookInterval = 500;
/// Between two looks while events come, in milliseconds.
constexpr int leastInterval = 10;

/// How long an application may take for an answer, in milliseconds. It is doubled after a reading in which
/// one took longer: the machine may be busy.
constexpr int firstAnswerTimeout = 1000;

constexpr int mostShown = 4; ///< elements in a message

Failure gone(qint64 process)
{
    return {ExitStatus::ConnectionLost, QStringLiteral("The application %1 has ended").arg(process)};
}

} // namespace

std::unique_ptr<Elements> openElements(Session& session)
{
    return std::make_unique<Elements>(session);
}

QPoint placeIn(const QRect& rect, const std::optional<QPoint>& offset)
{
    return offset ? rect.topLeft() + *offset : rect.center();
}

Elements::Elements(Session& session)
    : m_session(session)
    , m_display(session.displayName())
    , m_bus(m_display, session.application() == nullptr ? 0 : session.application()->processId,
          session.interruptionFileDescriptor())
    , m_tree(m_bus, m_display)
{
}

void Elements::setScope(const QString& processOrTitle)
{
    m_scope = {};
    m_answerTimeout = firstAnswerTimeout;
    bool isNumber = false;
    const qint64 process = processOrTitle.toLongLong(&isNumber);
    if (isNumber)
        m_scope.process = process;
    else
        m_scope.window = processOrTitle;
    const ApplicationInfo* application = m_session.application();
    if (application == nullptr || m_scope.process != 0)
        return;
    // A program of 'run' may have several processes.
    const bool isOurs = isDescendant(application->processId, getpid());
    m_scope.process = isOurs ? getpid() : application->processId;
}

ElementTree& Elements::read(PropertySet properties, Coverage coverage)
{
    if (m_scope.process > 0 && kill(static_cast<pid_t>(m_scope.process), 0) != 0)
        throw gone(m_scope.process);
    m_tree.setAnswerTimeout(m_answerTimeout);
    m_tree.read(m_scope, properties, coverage);
    if (!silentText().isEmpty())
        m_answerTimeout *= 2;
    return m_tree;
}

/// Runs the event loop until an application sends an event, or for a while, as not all changes are reported.
void Elements::waitForEvent(const QDeadlineTimer& deadline)
{
    pause(leastInterval);
    QEventLoop loop;
    QTimer timer;
    timer.setSingleShot(true);
    QObject::connect(&timer, &QTimer::timeout, &loop, &QEventLoop::quit);
    QObject::connect(&m_bus.connection(), &DBus::Connection::received, &loop, &QEventLoop::quit);
    QObject::connect(&m_bus.connection(), &DBus::Connection::disconnected, &loop, &QEventLoop::quit);
    timer.start(static_cast<int>(std::clamp<qint64>(deadline.remainingTime(), 0, lookInterval)));
    m_session.run(loop);
    m_session.requireNotInterrupted();
}

void Elements::pause(int milliseconds)
{
    QEventLoop loop;
    QTimer timer;
    timer.setSingleShot(true);
    timer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&timer, &QTimer::timeout, &loop, &QEventLoop::quit);
    timer.start(milliseconds);
    m_session.run(loop);
    m_session.requireNotInterrupted();
}

FoundElement Elements::find(
    const Locator& locator, Need need, const std::optional<QPoint>& offset, const QDeadlineTimer& deadline)
{
    QElapsedTimer timer;
    timer.start();
    m_scrolled.clear();
    std::optional<FoundElement> found;
    if (!waitUntil(deadline, [&] {
            found = tryToFind(locator, need, offset);
            return found.has_value();
        })) {
        const qint64 tenths = timer.elapsed() / 100;
        throw operationFailure(QStringLiteral("%1 (after %2 s)")
                                   .arg(m_missing.isEmpty() ? whyNotOne(locator) : m_missing,
                                       QString::number(static_cast<double>(tenths) / 10.0)));
    }
    return *found;
}

/// Nothing, with m_missing set, while a condition is not met.
std::optional<FoundElement> Elements::tryToFind(
    const Locator& locator, Need need, const std::optional<QPoint>& offset)
{
    m_missing.clear();
    const std::vector<LocatorStep>& steps = locator.steps();
    const bool needsAll = std::any_of(
        steps.begin(), steps.end(), [](const LocatorStep& step) { return step.filtersVisibility(); });
    ElementTree& tree = read(searchedProperties, needsAll ? Coverage::All : Coverage::Showing);
    std::vector<int> matches = findElements(tree, locator, Visibility::Showing);
    if (matches.empty() && tree.isPartial()) {
        read(searchedProperties);
        matches = findElements(tree, locator, Visibility::Showing);
    }
    if (matches.empty() && need != Need::Reading)
        scrollIntoView(locator);
    if (matches.size() != 1)
        return std::nullopt;
    const int index = matches.front();
    tree.load(index, Property::Rect | Property::States);
    QElapsedTimer sinceRect;
    sinceRect.start();
    const QRect rect = tree.at(index).rect;
    if (need == Need::Reading || need == Need::Showing)
        return FoundElement {index, rect};
    const auto missing = [&](const QString& what) {
        m_missing = QStringLiteral("%1 %2").arg(describe(tree, index), what);
        return std::nullopt;
    };
    if (need == Need::EnabledPointer && !isEnabled(tree.at(index).states))
        return missing(QStringLiteral("is disabled"));
    if (rect.width() <= 0 || rect.height() <= 0)
        return missing(QStringLiteral("has no size"));
    const QPoint place = placeIn(rect, offset);
    if (!QRect(QPoint(), m_display.screenSize()).contains(place))
        return missing(QStringLiteral("is not on the screen, at %1,%2").arg(place.x()).arg(place.y()));
    const QString cover = coverOf(index, place);
    if (!cover.isEmpty())
        return missing(QStringLiteral("is covered by %1").arg(cover));
    if (sinceRect.elapsed() < frameTime)
        pause(frameTime - static_cast<int>(sinceRect.elapsed()));
    tree.reload(index, Property::Rect);
    if (tree.at(index).rect != rect)
        return missing(QStringLiteral("does not stand still"));
    return FoundElement {index, rect};
}

/// Whether an element is, or is inside, one that toolkits show in a window of its own.
bool Elements::isInPopup(int index)
{
    static const std::vector<int> popups {
        Role::Menu, Role::PopupMenu, Role::MenuItem, Role::ComboBox, Role::Window, Role::ToolTip};
    for (; index >= 0; index = m_tree.at(index).parent) {
        m_tree.load(index, Property::Role);
        if (std::find(popups.begin(), popups.end(), m_tree.at(index).role) != popups.end())
            return true;
    }
    return false;
}

/// What would get the events of a pointer at `place` instead of the element; empty if nothing would.
QString Elements::coverOf(int index, const QPoint& place)
{
    const qint64 process = m_tree.applicationOf(index).process;
    const WindowProbe::Found window = m_display.windowAt(place);
    const bool isOther = window.process != process && window.process != 0
        && !isDescendant(window.process, process) && !isDescendant(process, window.process);
    if (isOther) {
        const QString title = m_display.title(window);
        return title.isEmpty()
            ? QStringLiteral("a window of process %1").arg(window.process)
            : QStringLiteral("the window '%1' of process %2").arg(title).arg(window.process);
    }
    if (window.isPopup) {
        // Its elements are inside those of the main window, which knows nothing of it.
        return isInPopup(index) ? QString() : QStringLiteral("an open menu, or another popup");
    }
    int top = index;
    while (m_tree.at(top).depth > 1)
        top = m_tree.at(top).parent;
    const int hit = m_tree.indexOf(m_tree.elementAt(top, place));
    // Toolkits that know no more answer with an element around the one that was asked for, or with none.
    const bool isHit = hit < 0 || hit == index || m_tree.isInside(hit, index) || m_tree.isInside(index, hit);
    return isHit ? QString() : describe(m_tree, hit);
}

/// Scrolls to the element if exactly one is meant that is not in view.
void Elements::scrollIntoView(const Locator& locator)
{
    const std::vector<int> hidden = findElements(m_tree, locator, Visibility::OutOfView);
    if (hidden.size() != 1)
        return;
    const int index = hidden.front();
    m_missing = QStringLiteral("%1 cannot be brought into view").arg(describe(m_tree, index));
    const AccessibleRef ref = m_tree.at(index).ref;
    if (m_scrolled.contains(ref))
        return;
    m_scrolled.insert(ref);
    constexpr uint anywhere = 6; // ATSPI_SCROLL_ANYWHERE
    if (!m_tree.call(index, "org.a11y.atspi.Component", "ScrollTo", {anywhere}))
        turnWheelTo(index);
}

/// What can be seen of the elements around this one.
QRect Elements::visibleAround(int index)
{
    QRect visible(QPoint(), m_display.screenSize());
    for (int above = m_tree.at(index).parent; above >= 0; above = m_tree.at(above).parent) {
        m_tree.load(above, Property::Rect);
        if (const QRect& rect = m_tree.at(above).rect; rect.isValid())
            visible &= rect;
    }
    return visible;
}

/// Whether the element is below those of its siblings that are in view, or above them.
bool Elements::isBelow(int index, const QRect& visible)
{
    const QRect& rect = m_tree.at(index).rect;
    if (rect.isValid())
        return rect.center().y() > visible.center().y();
    const std::vector<int>& siblings = m_tree.at(m_tree.at(index).parent).children;
    m_tree.load(siblings, Property::States);
    const auto firstSeen = std::find_if(
        siblings.begin(), siblings.end(), [this](int sibling) { return m_tree.at(sibling).isShowing(); });
    return firstSeen == siblings.end() || *firstSeen < index;
}

/// Turns the wheel, as a person would, until the element is in view, or no longer moves.
void Elements::turnWheelTo(int index)
{
    constexpr int mostTurns = 500;
    constexpr int mostWithoutEffect = 5;
    const QRect visible = visibleAround(index);
    if (visible.isEmpty())
        return;
    NativeInterface& native = m_session.native();
    const QPoint place = visible.center();
    m_session.enterScreen({place.x(), place.y(), -1});
    if (!native.pointerMove({place.x(), place.y(), -1}).isEmpty())
        return;
    int withoutEffect = 0;
    for (int turn = 0; turn < mostTurns && withoutEffect < mostWithoutEffect; ++turn) {
        m_tree.reload(index, Property::Rect | Property::States);
        const QRect before = m_tree.at(index).rect;
        if (m_tree.at(index).isShowing() && visible.contains(before.center()))
            return;
        if (!native.wheelRoll(isBelow(index, visible) ? -1 : 1).isEmpty())
            return;
        pause(frameTime);
        m_tree.reload(index, Property::Rect);
        withoutEffect = before.isValid() && m_tree.at(index).rect == before ? withoutEffect + 1 : 0;
    }
}

QString Elements::whyNotOne(const Locator& locator)
{
    const std::vector<int> found = findElements(m_tree, locator, Visibility::Showing);
    return found.empty() ? notFoundText(locator, findElements(m_tree, locator, Visibility::OutOfView))
                         : severalText(locator, found);
}

QString Elements::silentText() const
{
    QStringList silent;
    for (const AccessibleApplication& application : m_tree.applications()) {
        if (application.isSilent)
            silent.append(QString::number(application.process));
    }
    return silent.isEmpty()
        ? QString()
        : QStringLiteral("process %1 does not answer").arg(silent.join(QLatin1String(", ")));
}

void Elements::requireAnswers() const
{
    if (const QString text = silentText(); !text.isEmpty())
        throw operationFailure(QStringLiteral("Cannot read all elements: %1").arg(text));
}

QString Elements::notFoundText(const Locator& locator, const std::vector<int>& outOfView)
{
    if (outOfView.size() == 1) {
        return QStringLiteral("%1 is not in view; 'scroll-to' brings it there")
            .arg(describe(m_tree, outOfView.front()));
    }
    const QStringList similar = similarElements(m_tree, locator);
    QString text = QStringLiteral("There is no %1").arg(locator.text());
    if (!similar.isEmpty())
        text += QStringLiteral("; similar: %1").arg(similar.join(QLatin1String(", ")));
    if (m_tree.applications().empty())
        text += QStringLiteral("; no program on this display describes its elements");
    if (const QString silent = silentText(); !silent.isEmpty())
        text += QLatin1String("; ") + silent;
    return text;
}

QString Elements::severalText(const Locator& locator, std::vector<int> matches)
{
    m_tree.load(matches, Property::Rect);
    sortInReadingOrder(m_tree, matches);
    QStringList shown;
    for (const int match : matches) {
        const QRect& rect = m_tree.at(match).rect;
        if (shown.size() < mostShown) {
            shown.append(
                QStringLiteral("%1 at %2,%3").arg(describePath(m_tree, match)).arg(rect.x()).arg(rect.y()));
        }
    }
    QString text = QStringLiteral("There are %1 elements %2; say more, or append #1: %3")
                       .arg(matches.size())
                       .arg(locator.text(), shown.join(QLatin1String("; ")));
    if (static_cast<int>(matches.size()) > shown.size())
        text += QStringLiteral("; …");
    return text;
}

} // namespace Zendra::Runner
