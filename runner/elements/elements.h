#pragma once

#include <memory>
#include <optional>

#include <QPoint>
#include <QRect>
#include <QString>

#include "elementfinder.h"
#include "elementtree.h"
#include "locator.h"
#include "x11/windowprobe.h"

namespace Zendra::Runner
{

class Session;

/// An element that an action can be done with.
struct FoundElement {
    int index = -1;
    QRect rect; ///< on the screen
};

/// Finds elements for commands, and waits for them. Uses the connection and the event loop of a session.
class Elements
{
public:
    /// Throws a Failure where there is no accessibility bus.
    explicit Elements(Session& session);

    /// Limits what follows to a process and its children, or to windows with this title; empty for all.
    void setScope(const QString& processOrTitle);

    ElementTree& tree() { return m_tree; }
    WindowProbe& display() { return m_display; }
    /// Reads the elements now. Throws for an application that is gone.
    ElementTree& read(PropertySet properties, Coverage coverage = Coverage::All);

    enum class Need {
        Reading,       ///< exactly one is showing
        Showing,       ///< the same, after scrolling to it where that is needed
        Pointer,       ///< and it receives the events of a pointer at `offset`
        EnabledPointer ///< and it is enabled
    };
    /// Waits until a locator finds exactly one element that is as needed. Throws a Failure that says what is
    /// missing. `offset` counts from the top left corner; the centre without it.
    FoundElement find(const Locator& locator, Need need, const std::optional<QPoint>& offset,
        const QDeadlineTimer& deadline);

    /// Calls `isDone`, which reads what it needs, after each event of an application until it returns true.
    /// False at the deadline.
    template <typename Condition>
    bool waitUntil(const QDeadlineTimer& deadline, Condition isDone)
    {
        while (!isDone()) {
            if (deadline.hasExpired())
                return false;
            waitForEvent(deadline);
        }
        return true;
    }

    /// Why a locator does not find exactly one element in the tree that was read.
    QString whyNotOne(const Locator& locator);
    /// Which applications did not answer; empty if all did.
    QString silentText() const;
    /// Throws a Failure when an application did not answer.
    void requireAnswers() const;

private:
    Q_DISABLE_COPY(Elements)

    void waitForEvent(const QDeadlineTimer& deadline);
    void pause(int milliseconds);
    std::optional<FoundElement> tryToFind(
        const Locator& locator, Need need, const std::optional<QPoint>& offset);
    bool isInPopup(int index);
    QString coverOf(int index, const QPoint& place);
    void scrollIntoView(const Locator& locator);
    QRect visibleAround(int index);
    bool isBelow(int index, const QRect& visible);
    void turnWheelTo(int index);
    QString notFoundText(const Locator& locator, const std::vector<int>& outOfView);
    QString severalText(const Locator& locator, std::vector<int> matches);

    Session& m_session;
    WindowProbe m_display;
    AtspiConnection m_bus;
    ElementTree m_tree;
    ElementScope m_scope;
    int m_answerTimeout = 1000;
    QString m_missing; ///< the condition that the only match does not meet
    QSet<AccessibleRef> m_scrolled;
};

/// Throws a Failure where there is no accessibility bus, or in a build without elements.
std::unique_ptr<Elements> openElements(Session& session);

/// Where an action takes place: the centre of the element, or its top left corner and the offset.
QPoint placeIn(const QRect& rect, const std::optional<QPoint>& offset);

} // namespace Zendra::Runner
