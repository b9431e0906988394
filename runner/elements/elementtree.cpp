#include "elementtree.h"

#include <algorithm>
#include <deque>
#include <limits>
#include <map>

#include "locator.h"
#include "process/processtree.h"
#include "x11/windowprobe.h"

namespace Zendra::Runner
{

namespace
{

constexpr char accessible[] = "org.a11y.atspi.Accessible";
constexpr char component[] = "org.a11y.atspi.Component";
constexpr char propertiesInterface[] = "org.freedesktop.DBus.Properties";
constexpr char cachePath[] = "/org/a11y/atspi/cache";

// Limits for what applications say.
constexpr std::size_t mostElements = 200'000;
constexpr int deepestElement = 200;
constexpr std::size_t mostPending = 1000; ///< calls

/// With more, children may be left out.
constexpr int manyChildren = 400;
constexpr int leastBlock = 200; ///< of children that are looked at together

/// For calls that are made together, and between two levels of the tree, in milliseconds.
constexpr int readTimeout = 10'000;

constexpr uint screenCoordinates = 0;

constexpr Property allProperties[] = {Property::Children, Property::Name, Property::Role, Property::States,
    Property::Rect, Property::Description, Property::Attributes, Property::Interfaces, Property::Labels,
    Property::Value, Property::Text, Property::Identifier, Property::ChildCount};

} // namespace

ElementTree::ElementTree(AtspiConnection& bus, WindowProbe& display)
    : m_bus(bus)
    , m_display(display)
{
}

void ElementTree::read(const ElementScope& scope, PropertySet properties, Coverage coverage)
{
    const QDeadlineTimer limit(readTimeout);
    m_elements.clear();
    m_indexes.clear();
    m_applications.clear();
    m_cache.clear();
    m_cachedChildren.clear();
    m_windowOffsets.clear();
    m_isTruncated = false;
    m_isPartial = false;
    readApplications(scope);
    readCaches();
    std::vector<int> level;
    for (const AccessibleApplication& application : m_applications)
        level.push_back(application.element);
    for (int depth = 0; !level.empty() && depth < deepestElement && !limit.hasExpired(); ++depth) {
        if (coverage == Coverage::Showing)
            readShowing(level, properties);
        else
            load(level, properties | Property::Children);
        std::vector<int> next;
        for (const int parent : level) {
            const std::vector<int>& children = at(parent).children;
            next.insert(next.end(), children.begin(), children.end());
        }
        if (depth == 0 && !scope.window.isEmpty()) {
            load(next, Property::Name);
            const NamePattern title = NamePattern::fromQuoted(scope.window);
            next.erase(std::remove_if(next.begin(), next.end(),
                           [&](int window) { return !title.matches(at(window).name); }),
                next.end());
            for (const int parent : level)
                element(parent).children.clear();
            for (const int window : next)
                element(at(window).parent).children.push_back(window);
        }
        level = std::move(next);
    }
    m_isTruncated = m_isTruncated || !level.empty();
}

void ElementTree::beginCalls()
{
    m_deadline.setRemainingTime(readTimeout);
}

/// Adds the applications that are clients of the display; an accessibility bus may serve several displays.
void ElementTree::readApplications(const ElementScope& scope)
{
    beginCalls();
    const unsigned int children = m_bus.send(AtspiConnection::registryRoot(), accessible, "GetChildren");
    const std::vector<AccessibleRef> roots = toRefs(m_bus.take(children, m_deadline));
    std::vector<unsigned int> pending;
    pending.reserve(roots.size());
    const AccessibleRef bus {"org.freedesktop.DBus", "/org/freedesktop/DBus"};
    for (const AccessibleRef& root : roots) {
        pending.push_back(m_bus.send(bus, "org.freedesktop.DBus", "GetConnectionUnixProcessID",
            {QString::fromLatin1(root.application)}));
    }
    const QSet<qint64> clients
        = scope.process == 0 && roots.size() > 1 ? m_display.processes() : QSet<qint64>();
    for (std::size_t index = 0; index < roots.size(); ++index) {
        const auto process
            = static_cast<qint64>(toDouble(m_bus.take(pending[index], m_deadline)).value_or(0.0));
        const bool isWanted = scope.process > 0 ? isDescendant(process, scope.process)
                                                : clients.isEmpty() || clients.contains(process);
        if (!isWanted || process == 0 || m_indexes.contains(roots[index]))
            continue;
        const auto application = static_cast<int>(m_applications.size());
        m_applications.push_back({roots[index], -1, process, false});
        m_applications.back().element = add(roots[index], -1, application);
    }
}

/// Toolkits that keep a cache for their clients (GTK, Chromium) tell nearly all in one reply.
void ElementTree::readCaches()
{
    m_bus.requestEvents();
    std::vector<unsigned int> pending;
    pending.reserve(m_applications.size());
    for (const AccessibleApplication& application : m_applications)
        pending.push_back(
            m_bus.send({application.root.application, cachePath}, "org.a11y.atspi.Cache", "GetItems"));
    for (std::size_t index = 0; index < pending.size(); ++index) {
        const QByteArray& name = m_applications[index].root.application;
        std::vector<CacheItem> items = toCacheItems(take(pending[index], static_cast<int>(index)));
        std::stable_sort(items.begin(), items.end(), [](const CacheItem& left, const CacheItem& right) {
            return left.indexInParent < right.indexInParent;
        });
        for (const CacheItem& item : items) {
            if (item.ref.application != name || m_cache.contains(item.ref))
                continue;
            m_cachedChildren[item.parent].push_back(item.ref);
            m_cache.insert(item.ref, item);
        }
    }
}

/// -1 when the element has been added before or there are too many.
int ElementTree::add(const AccessibleRef& ref, int parent, int application)
{
    if (m_elements.size() >= mostElements) {
        m_isTruncated = true;
        return -1;
    }
    if (m_indexes.contains(ref))
        return -1;
    const auto index = static_cast<int>(m_elements.size());
    m_indexes.insert(ref, index);
    Element added;
    added.ref = ref;
    added.parent = parent;
    added.application = application;
    added.depth = parent < 0 ? 0 : at(parent).depth + 1;
    m_elements.push_back(std::move(added));
    return index;
}

void ElementTree::addChildren(int index, const std::vector<AccessibleRef>& children)
{
    std::vector<int> added;
    added.reserve(children.size());
    for (const AccessibleRef& child : children) {
        if (const int childIndex = add(child, index, at(index).application); childIndex >= 0)
            added.push_back(childIndex);
    }
    element(index).children = std::move(added);
}

/// Reads properties and children, but of many children only those that are showing.
void ElementTree::readShowing(const std::vector<int>& level, PropertySet properties)
{
    load(level, properties | Property::ChildCount);
    std::vector<int> few;
    for (const int parent : level) {
        if (at(parent).loaded.testFlag(Property::Children))
            continue;
        const QRect visible = at(parent).childCount > manyChildren ? visibleArea(parent) : QRect();
        const std::optional<int> middle
            = visible.isEmpty() ? std::nullopt : childAt(parent, visible.center());
        if (middle)
            addShowingChildren(parent, *middle, visible);
        else if (at(parent).childCount != 0)
            few.push_back(parent);
    }
    load(few, Property::Children);
}

/// What can be seen of an element, by those around it; empty where that is not told.
QRect ElementTree::visibleArea(int index)
{
    if (isGtk4(index))
        return {};
    QRect visible;
    for (int above = index; above >= 0; above = at(above).parent) {
        load(above, Property::Rect);
        if (const QRect& rect = at(above).rect; rect.isValid())
            visible = visible.isNull() ? rect : visible & rect;
    }
    return visible;
}

/// The number of the child at a place of the screen.
std::optional<int> ElementTree::childAt(int parent, const QPoint& place)
{
    const int application = at(parent).application;
    beginCalls();
    const AccessibleRef hit = toRef(take(m_bus.send(at(parent).ref, component, "GetAccessibleAtPoint",
                                             {place.x(), place.y(), screenCoordinates}),
        application));
    if (hit.isNull())
        return std::nullopt;
    const auto number = static_cast<int>(
        toDouble(take(m_bus.send(hit, accessible, "GetIndexInParent"), application)).value_or(-1.0));
    if (number < 0 || number >= at(parent).childCount)
        return std::nullopt;
    const AccessibleRef child
        = toRef(take(m_bus.send(at(parent).ref, accessible, "GetChildAtIndex", {number}), application));
    return child == hit ? std::optional(number) : std::nullopt;
}

/// Adds the first ones, which may be headers, and of those around the one in the middle what is showing.
///
/// Children of tables, trees and lists are in the order of their places, so that those in view follow each
/// other, apart from columns to the left and right of the view.
void ElementTree::addShowingChildren(int parent, int middle, const QRect& visible)
{
    m_isPartial = true;
    element(parent).loaded |= Property::Children;
    const AccessibleRef ref = at(parent).ref;
    const int count = at(parent).childCount;
    const int application = at(parent).application;
    beginCalls();
    const unsigned int columnsCall = m_bus.send(ref, propertiesInterface, "Get",
        {QStringLiteral("org.a11y.atspi.Table"), QStringLiteral("NColumns")});
    const double columns = toDouble(take(columnsCall, application)).value_or(0.0);
    // More than a row with its header, so that none is without a cell in view.
    const int block = std::max(leastBlock, static_cast<int>(std::clamp(columns, 0.0, 10'000.0)) + 1);
    std::map<int, Element> showing;
    const auto look = [&](int first) {
        const int last = std::min(first + block, count);
        std::vector<unsigned int> calls;
        std::vector<Element> children(static_cast<std::size_t>(last - first));
        const auto askEach = [&](const char* interface, const char* member, const QVariantList& arguments) {
            calls.clear();
            for (const Element& child : children)
                calls.push_back(child.ref.isNull() ? 0 : m_bus.send(child.ref, interface, member, arguments));
        };
        for (int child = first; child < last; ++child)
            calls.push_back(m_bus.send(ref, accessible, "GetChildAtIndex", {child}));
        for (std::size_t child = 0; child < children.size(); ++child)
            children[child].ref = toRef(take(calls[child], application));
        askEach(accessible, "GetState", {});
        for (std::size_t child = 0; child < children.size(); ++child) {
            children[child].states = toStates(take(calls[child], application));
            if (!hasState(children[child].states, State::Showing))
                children[child].ref = {};
        }
        // Headers in Qt are always "showing".
        askEach(component, "GetExtents", {screenCoordinates});
        bool isAnyShowing = false;
        for (std::size_t child = 0; child < children.size(); ++child) {
            const QRect rect = toRect(take(calls[child], application));
            if (children[child].ref.isNull() || (rect.isValid() && !rect.intersects(visible)))
                continue;
            isAnyShowing = true;
            showing[first + static_cast<int>(child)] = children[child];
        }
        return isAnyShowing;
    };
    const int start = middle / block * block;
    for (int first = start; first < count && look(first); first += block) { }
    int above = start;
    while (above > 0 && look(above - block))
        above -= block;
    if (above > block)
        look(0);
    for (const auto& [place, child] : showing) {
        const int index = add(child.ref, parent, application);
        if (index < 0)
            continue;
        element(index).states = child.states;
        element(index).loaded |= Property::States;
        element(parent).children.push_back(index);
    }
}

/// The cache may lack children, as those of tables: they are taken from it only if none is missing.
void ElementTree::takeFromCache(int index)
{
    const auto found = m_cache.constFind(at(index).ref);
    if (found == m_cache.constEnd())
        return;
    Element& target = element(index);
    target.name = found->name;
    target.role = found->role;
    target.states = found->states;
    target.description = found->description;
    target.interfaces = found->interfaces;
    target.childCount = found->childCount;
    target.loaded |= Property::ChildCount | Property::Name | Property::Role | Property::States
        | Property::Description | Property::Interfaces;
    const std::vector<AccessibleRef> children = m_cachedChildren.value(target.ref);
    const bool isWhole = static_cast<int>(children.size()) == found->childCount
        && !hasState(found->states, State::ManagesDescendants);
    if (isWhole) {
        target.loaded |= Property::Children;
        addChildren(index, children);
    }
}

/// Whether the element is known not to have a property.
bool ElementTree::lacks(int index, Property property)
{
    if (!at(index).interfaces)
        return false;
    if (property == Property::Rect)
        return !at(index).interfaces.testFlag(Interface::Component);
    // In GTK 3 these are placeholders only.
    return property == Property::Attributes && !at(index).interfaces.testFlag(Interface::EditableText)
        && toolkitOf(index) == Toolkit::Gtk3;
}

void ElementTree::load(const std::vector<int>& indexes, PropertySet properties)
{
    beginCalls();
    if (properties.testFlag(Property::Attributes))
        properties |= Property::Identifier;
    std::vector<int> incomplete;
    std::deque<Pending> pending;
    const auto collectFirst = [&] {
        const Pending first = pending.front();
        pending.pop_front();
        collect(first);
    };
    for (const int index : indexes) {
        if (at(index).loaded == 0)
            takeFromCache(index);
        // Those from a cache, too
        const bool hasNewStates = properties.testFlag(Property::States)
            && at(index).loaded.testFlag(Property::States) && !at(index).completed.testFlag(Property::States);
        if (hasNewStates && isGtk4(index))
            incomplete.push_back(index);
        for (const Property property : allProperties) {
            if (!properties.testFlag(property) || at(index).loaded.testFlag(property))
                continue;
            element(index).loaded |= property;
            if (lacks(index, property))
                continue;
            if ((property == Property::Rect || property == Property::States) && isGtk4(index))
                incomplete.push_back(index);
            pending.push_back(send(index, property));
            if (pending.size() >= mostPending)
                collectFirst();
        }
    }
    while (!pending.empty())
        collectFirst();
    if (!incomplete.empty())
        completeGtk4(incomplete);
}

Toolkit ElementTree::toolkitOf(int index)
{
    AccessibleApplication& application = m_applications[static_cast<std::size_t>(at(index).application)];
    if (!application.toolkit) {
        const QString interface = QStringLiteral("org.a11y.atspi.Application");
        const unsigned int toolkit = m_bus.send(
            application.root, propertiesInterface, "Get", {interface, QStringLiteral("ToolkitName")});
        const unsigned int version = m_bus.send(
            application.root, propertiesInterface, "Get", {interface, QStringLiteral("Version")});
        const QString name = toText(take(toolkit, at(index).application));
        const QString number = toText(take(version, at(index).application));
        application.toolkit = Toolkit::Other;
        if (name.compare(QLatin1String("gtk"), Qt::CaseInsensitive) == 0) {
            if (number.startsWith(QLatin1String("3.")))
                application.toolkit = Toolkit::Gtk3;
            else if (number.startsWith(QLatin1String("4.")))
                application.toolkit = Toolkit::Gtk4;
        }
    }
    return *application.toolkit;
}

/// GTK 4 has paths of its own, so that no other toolkit is asked.
bool ElementTree::isGtk4(int index)
{
    return at(index).depth > 0 && !at(index).ref.path.startsWith("/org/a11y/atspi/")
        && toolkitOf(index) == Toolkit::Gtk4;
}

/// Where the coordinates of a GTK 4 window begin on the screen.
QPoint ElementTree::windowOffset(int index)
{
    while (at(index).depth > 1)
        index = at(index).parent;
    if (const auto known = m_windowOffsets.constFind(index); known != m_windowOffsets.constEnd())
        return *known;
    load(index, Property::Rect | Property::Name);
    if (const auto known = m_windowOffsets.constFind(index); known != m_windowOffsets.constEnd())
        return *known;
    const QSize size = at(index).rect.size();
    const QRect area = m_display.windowArea(applicationOf(index).process, at(index).name, size);
    // Without a shadow there is a border of the same width at all sides.
    const QPoint offset = area.isValid()
        ? area.topLeft() + QPoint((area.width() - size.width()) / 2, (area.height() - size.height()) / 2)
        : QPoint();
    m_windowOffsets.insert(index, offset);
    return offset;
}

/// GTK 4 tells rectangles relative to the window, and of windows alone whether they are showing.
void ElementTree::completeGtk4(const std::vector<int>& indexes)
{
    const auto isNew = [](const Element& target, Property property) {
        return target.loaded.testFlag(property) && !target.completed.testFlag(property);
    };
    // Parents precede their children.
    std::vector<int> sorted = indexes;
    std::sort(sorted.begin(), sorted.end());
    for (const int index : sorted) {
        if (isNew(at(index), Property::Rect)) {
            element(index).completed |= Property::Rect;
            if (at(index).rect.isValid())
                element(index).rect.translate(windowOffset(index));
        }
    }
    for (const int index : sorted) {
        if (!isNew(at(index), Property::States))
            continue;
        element(index).completed |= Property::States;
        if (at(index).depth < 2)
            continue;
        load(index, Property::Rect);
        load(at(index).parent, Property::States);
        if (!at(index).rect.isValid())
            load(index, Property::Interfaces);
        // Pages of a stack are not widgets, and have no rectangle.
        const bool isSeen = !(at(index).rect.isValid() || at(index).interfaces.testFlag(Interface::Component))
            || (at(index).rect.isValid() && hasState(at(index).states, State::Visible));
        if (isSeen && hasState(at(at(index).parent).states, State::Showing))
            element(index).states |= StateSet(1) << State::Showing | StateSet(1) << State::Visible;
    }
}

void ElementTree::reload(int index, PropertySet properties)
{
    element(index).loaded &= ~properties;
    element(index).completed &= ~properties;
    m_windowOffsets.clear();
    load(index, properties);
}

ElementTree::Pending ElementTree::send(int index, Property property)
{
    const AccessibleRef& ref = at(index).ref;
    if (applicationOf(index).isSilent)
        return {0, index, property};
    const auto get = [&](const char* interface, const char* name) {
        return m_bus.send(
            ref, propertiesInterface, "Get", {QString::fromLatin1(interface), QString::fromLatin1(name)});
    };
    const auto call = [&]() -> unsigned int {
        switch (property) {
        case Property::Children:
            return m_bus.send(ref, accessible, "GetChildren");
        case Property::Name:
            return get(accessible, "Name");
        case Property::Role:
            return m_bus.send(ref, accessible, "GetRole");
        case Property::States:
            return m_bus.send(ref, accessible, "GetState");
        case Property::Rect:
            return m_bus.send(ref, component, "GetExtents", {screenCoordinates});
        case Property::Description:
            return get(accessible, "Description");
        case Property::Attributes:
            return m_bus.send(ref, accessible, "GetAttributes");
        case Property::Interfaces:
            return m_bus.send(ref, accessible, "GetInterfaces");
        case Property::Labels:
            return m_bus.send(ref, accessible, "GetRelationSet");
        case Property::Value:
            return get("org.a11y.atspi.Value", "CurrentValue");
        case Property::Text:
            // -1 stands for the end, but not in GTK 4.
            return m_bus.send(ref, "org.a11y.atspi.Text", "GetText",
                {0, isGtk4(index) ? std::numeric_limits<int>::max() : -1});
        case Property::ChildCount:
            return get(accessible, "ChildCount");
        case Property::Identifier:
            return get(accessible, "AccessibleId");
        }
        return 0;
    };
    return {call(), index, property};
}

void ElementTree::collect(const Pending& pending)
{
    const DBus::Message reply = take(pending.serial, at(pending.index).application);
    if (!reply.isReply())
        return;
    Element& target = element(pending.index);
    switch (pending.property) {
    case Property::Children:
        return addChildren(pending.index, toRefs(reply));
    case Property::Name:
        target.name = toText(reply);
        return;
    case Property::Role:
        target.role = static_cast<int>(toDouble(reply).value_or(0.0));
        return;
    case Property::States:
        target.states = toStates(reply);
        return;
    case Property::Rect:
        target.rect = toRect(reply);
        return;
    case Property::Description:
        target.description = toText(reply);
        return;
    case Property::Attributes: {
        const QHash<QString, QString> attributes = toAttributes(reply);
        if (target.id.isEmpty())
            target.id = attributes.value(QStringLiteral("id"));
        target.placeholder = attributes.value(QStringLiteral("placeholder-text"));
        return;
    }
    case Property::Interfaces:
        target.interfaces = toInterfaces(reply);
        return;
    case Property::Labels:
        target.labels = toLabels(reply);
        return;
    case Property::Value:
        target.value = toDouble(reply);
        return;
    case Property::Text:
        target.text = toText(reply);
        return;
    case Property::ChildCount:
        target.childCount = static_cast<int>(std::clamp(toDouble(reply).value_or(-1.0), -1.0, 1e9));
        return;
    case Property::Identifier:
        if (const QString id = toText(reply); !id.isEmpty())
            target.id = id;
        return;
    }
}

/// Invalid for an application that does not answer.
DBus::Message ElementTree::take(unsigned int serial, int application)
{
    AccessibleApplication& from = m_applications[static_cast<std::size_t>(application)];
    if (from.isSilent) {
        m_bus.cancel(serial);
        return {};
    }
    const DBus::Message reply = m_bus.take(serial, std::min(m_deadline, QDeadlineTimer(m_answerTimeout)));
    from.isSilent = serial != 0 && !reply.isValid();
    return reply;
}

bool ElementTree::isInside(int index, int ancestor) const
{
    for (int above = at(index).parent; above >= 0; above = at(above).parent) {
        if (above == ancestor)
            return true;
    }
    return false;
}

QString ElementTree::effectiveName(int index) const
{
    const Element& named = at(index);
    if (!normalizedName(named.name).isEmpty())
        return named.name;
    QStringList labels;
    for (const AccessibleRef& label : named.labels) {
        if (const int labelIndex = indexOf(label); labelIndex >= 0)
            labels.append(at(labelIndex).name);
    }
    for (const QString& name :
        {labels.join(QLatin1Char(' ')), named.description, named.placeholder, named.id}) {
        if (!name.trimmed().isEmpty())
            return name;
    }
    return {};
}

AccessibleRef ElementTree::elementAt(int window, const QPoint& place)
{
    constexpr int deepest = 64;
    beginCalls();
    AccessibleRef found;
    AccessibleRef from = at(window).ref;
    const QPoint inside = isGtk4(window) ? place - windowOffset(window) : place;
    for (int depth = 0; depth < deepest; ++depth) {
        const unsigned int serial = m_bus.send(
            from, component, "GetAccessibleAtPoint", {inside.x(), inside.y(), screenCoordinates});
        const AccessibleRef next = toRef(take(serial, at(window).application));
        if (next.isNull() || next == from)
            break;
        found = next;
        from = next;
    }
    return found;
}

bool ElementTree::call(int index, const char* interface, const char* member, const QVariantList& arguments)
{
    beginCalls();
    const unsigned int serial = m_bus.send(at(index).ref, interface, member, arguments);
    return take(serial, at(index).application).isReply();
}

} // namespace Zendra::Runner
