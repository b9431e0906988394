#pragma once

#include <optional>
#include <vector>

#include <QDeadlineTimer>
#include <QHash>
#include <QRect>
#include <QSet>
#include <QString>

#include "atspiconnection.h"
#include "atspireader.h"
#include "roles.h"

namespace Zendra::Runner
{

/// What is read of an element.
enum class Property : unsigned {
    Children = 1,
    Name = 2,
    Role = 4,
    States = 8,
    Rect = 16,
    Description = 32,
    Attributes = 64, ///< placeholder, and in some toolkits the identifier
    Interfaces = 128,
    Labels = 256,
    Value = 512,
    Text = 1024,
    Identifier = 2048,
    ChildCount = 4096
};

Q_DECLARE_FLAGS(PropertySet, Property)
Q_DECLARE_OPERATORS_FOR_FLAGS(PropertySet)

/// An element as its application described it. What was not read is empty.
struct Element {
    AccessibleRef ref;
    int parent = -1; ///< an index in the tree; -1 for an application
    int application = -1;
    int depth = 0;
    std::vector<int> children;
    int childCount = -1; ///< unknown if negative
    PropertySet loaded;
    PropertySet completed; ///< of what GTK 4 does not tell

    QString name;
    int role = 0;
    StateSet states = 0;
    QRect rect; ///< on the screen
    QString description;
    QString id;
    QString placeholder;
    InterfaceSet interfaces;
    std::vector<AccessibleRef> labels; ///< the elements that label it
    std::optional<double> value;
    QString text;

    bool isShowing() const { return hasState(states, State::Showing) && hasState(states, State::Visible); }
};

/// Those that differ from others in what they tell.
enum class Toolkit { Gtk3, Gtk4, Other };

/// An application that is on the accessibility bus.
struct AccessibleApplication {
    AccessibleRef root;
    int element = -1; ///< the index of its root
    qint64 process = 0;
    bool isSilent = false; ///< it did not answer in time
    std::optional<Toolkit> toolkit = {};
};

/// Which applications are read.
struct ElementScope {
    qint64 process = 0; ///< only this process and its descendants; 0 for all of the display
    QString window;     ///< only top-level windows with this title, which may have wildcards; or all
};

/// Which elements are read of those that have many children, as tables.
enum class Coverage { All, Showing };

/// The elements of applications, as read at one time.
///
/// Reads what is asked for, with as many calls at a time as there are elements. Everything an application
/// says is bounded: elements, depth, and the lengths of texts.
class ElementTree
{
public:
    ElementTree(AtspiConnection& bus, WindowProbe& display);

    /// An application that does not answer for so many milliseconds is not asked again in one reading.
    void setAnswerTimeout(int milliseconds) { m_answerTimeout = milliseconds; }

    /// Reads the structure, and `properties` of all elements, anew.
    void read(const ElementScope& scope, PropertySet properties, Coverage coverage = Coverage::All);
    /// Whether children that are not showing have been left out.
    bool isPartial() const { return m_isPartial; }
    /// Reads properties of some elements that have not been read before.
    void load(const std::vector<int>& indexes, PropertySet properties);
    void load(int index, PropertySet properties) { load(std::vector<int> {index}, properties); }
    /// Reads the properties that change while an element moves or appears again.
    void reload(int index, PropertySet properties);

    const std::vector<Element>& elements() const { return m_elements; }
    const Element& at(int index) const { return m_elements[static_cast<std::size_t>(index)]; }
    const std::vector<AccessibleApplication>& applications() const { return m_applications; }
    const AccessibleApplication& applicationOf(int index) const
    {
        return m_applications[static_cast<std::size_t>(at(index).application)];
    }
    /// -1 for an element that was not read.
    int indexOf(const AccessibleRef& ref) const { return m_indexes.value(ref, -1); }
    bool isInside(int index, int ancestor) const;
    /// The name, or what stands for it: labels, description, placeholder, identifier. Read them first.
    QString effectiveName(int index) const;
    /// Whether a limit ended the reading.
    bool isTruncated() const { return m_isTruncated; }
    /// The application's element at a place of the screen; null where the toolkit does not tell.
    AccessibleRef elementAt(int window, const QPoint& place);
    /// Whether the call was accepted.
    bool call(int index, const char* interface, const char* member, const QVariantList& arguments);

private:
    struct Pending {
        unsigned int serial;
        int index;
        Property property;
    };

    Element& element(int index) { return m_elements[static_cast<std::size_t>(index)]; }
    void beginCalls();
    void readApplications(const ElementScope& scope);
    void readCaches();
    Toolkit toolkitOf(int index);
    bool isGtk4(int index);
    QPoint windowOffset(int index);
    void completeGtk4(const std::vector<int>& indexes);
    int add(const AccessibleRef& ref, int parent, int application);
    void addChildren(int index, const std::vector<AccessibleRef>& children);
    void readShowing(const std::vector<int>& level, PropertySet properties);
    QRect visibleArea(int index);
    std::optional<int> childAt(int parent, const QPoint& place);
    void addShowingChildren(int parent, int middle, const QRect& visible);
    void takeFromCache(int index);
    bool lacks(int index, Property property);
    Pending send(int index, Property property);
    void collect(const Pending& pending);
    DBus::Message take(unsigned int serial, int application);

    AtspiConnection& m_bus;
    WindowProbe& m_display;
    QDeadlineTimer m_deadline; ///< of the calls that are made together
    std::vector<Element> m_elements;
    QHash<AccessibleRef, int> m_indexes;
    std::vector<AccessibleApplication> m_applications;
    QHash<AccessibleRef, CacheItem> m_cache;
    QHash<AccessibleRef, std::vector<AccessibleRef>> m_cachedChildren;
    QHash<int, QPoint> m_windowOffsets;
    int m_answerTimeout = 1000;
    bool m_isTruncated = false;
    bool m_isPartial = false;
};

} // namespace Zendra::Runner
