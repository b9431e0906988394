#include "elementfinder.h"

#include <algorithm>

#include <similar.h>

namespace Zendra::Runner
{

namespace
{

constexpr PropertySet naming = Property::Labels | Property::Description | Property::Attributes;

template <typename Condition>
void keep(std::vector<int>& elements, Condition condition)
{
    elements.erase(
        std::remove_if(elements.begin(), elements.end(), [&](int element) { return !condition(element); }),
        elements.end());
}

bool isOneOf(const std::vector<int>& roles, int role)
{
    return std::find(roles.begin(), roles.end(), role) != roles.end();
}

/// Elements that only group others have no name in most toolkits, and need none.
bool isContainer(int role)
{
    static const std::vector<int> containers = {Role::Filler, Role::Panel, Role::ScrollPane, Role::Viewport,
        Role::SplitPane, Role::Separator, Role::ScrollBar, Role::MenuBar, Role::Application};
    return isOneOf(containers, role);
}

/// Keeps those with the name. Elements whose own name is another are not meant; those without any may be
/// called by a label, but only where nothing has the name itself.
void keepNamed(ElementTree& tree, const LocatorStep& step, std::vector<int>& elements)
{
    std::vector<int> named;
    std::vector<int> nameless;
    for (const int element : elements) {
        const QString& name = tree.at(element).name;
        if (step.name->matches(name))
            named.push_back(element);
        else if (name.trimmed().isEmpty())
            nameless.push_back(element);
    }
    const auto hasRole = [&](int element) {
        const int actual = tree.at(element).role;
        return step.roles ? isOneOf(*step.roles, actual) : !isContainer(actual);
    };
    if (step.roles) {
        tree.load(named, Property::Role);
        keep(named, hasRole);
    }
    if (named.empty()) {
        tree.load(nameless, Property::Role);
        keep(nameless, hasRole);
        tree.load(nameless, naming);
        keep(nameless, [&](int element) { return step.name->matches(tree.effectiveName(element)); });
        named = nameless;
    }
    elements = named;
}

/// A button's text, or the icon beside it, is the button to a person.
void dropParts(ElementTree& tree, std::vector<int>& elements)
{
    if (elements.size() < 2)
        return;
    tree.load(elements, Property::Role);
    const std::vector<int> all = elements;
    keep(elements, [&](int element) {
        const QString name = shortRoleName(tree.at(element).role);
        if (name != QLatin1String("label") && name != QLatin1String("image"))
            return true;
        return std::none_of(all.begin(), all.end(), [&](int other) { return tree.isInside(element, other); });
    });
}

void loadParents(ElementTree& tree, const std::vector<int>& elements)
{
    std::vector<int> parents;
    parents.reserve(elements.size());
    for (const int element : elements)
        parents.push_back(tree.at(element).parent);
    tree.load(parents, Property::States);
}

void keepInStates(ElementTree& tree, const LocatorStep& step, Visibility visibility, bool isLast,
    std::vector<int>& elements)
{
    const bool needsVisibility = (isLast || step.number > 0) && !step.filtersVisibility();
    if (!needsVisibility && !step.isField && step.states.empty())
        return;
    tree.load(elements, Property::States);
    if (visibility == Visibility::OutOfView)
        loadParents(tree, elements);
    keep(elements, [&](int element) {
        const StateSet actual = tree.at(element).states;
        const bool isSeen = visibility == Visibility::Showing ? tree.at(element).isShowing()
                                                              : tree.at(tree.at(element).parent).isShowing();
        const bool matches = std::all_of(
            step.states.begin(), step.states.end(), [actual](const LocatorStep::StateFilter& filter) {
                return isInState(actual, filter.state) == filter.isWanted;
            });
        const int actualRole = tree.at(element).role;
        const bool isEditable = actualRole != Role::Text || hasState(actual, State::Editable);
        return (isSeen || !needsVisibility) && matches && (isEditable || !step.isField);
    });
}

/// All elements inside `ancestors`; all but applications if that is null.
std::vector<int> elementsInside(const ElementTree& tree, const std::vector<int>* ancestors)
{
    std::vector<bool> isMeant(tree.elements().size(), false);
    std::vector<bool> isAncestor(tree.elements().size(), false);
    if (ancestors != nullptr) {
        for (const int ancestor : *ancestors)
            isAncestor[static_cast<std::size_t>(ancestor)] = true;
    }
    std::vector<int> inside;
    // Parents precede their children.
    for (std::size_t index = 0; index < tree.elements().size(); ++index) {
        const int parent = tree.elements()[index].parent;
        if (parent < 0)
            continue;
        const auto above = static_cast<std::size_t>(parent);
        isMeant[index] = ancestors == nullptr || isMeant[above] || isAncestor[above];
        if (isMeant[index])
            inside.push_back(static_cast<int>(index));
    }
    return inside;
}

} // namespace

void sortInReadingOrder(const ElementTree& tree, std::vector<int>& elements)
{
    const auto rect = [&tree](int element) { return tree.at(element).rect; };
    std::stable_sort(elements.begin(), elements.end(),
        [&](int left, int right) { return rect(left).top() < rect(right).top(); });
    for (auto line = elements.begin(); line != elements.end();) {
        const int middle = rect(*line).center().y();
        const auto next
            = std::find_if(line, elements.end(), [&](int element) { return rect(element).top() > middle; });
        std::stable_sort(
            line, next, [&](int left, int right) { return rect(left).left() < rect(right).left(); });
        line = next == line ? next + 1 : next;
    }
}

std::vector<int> findElements(ElementTree& tree, const Locator& locator, Visibility visibility)
{
    std::vector<int> found;
    for (const LocatorStep& step : locator.steps()) {
        const bool isFirst = &step == &locator.steps().front();
        const bool isLast = &step == &locator.steps().back();
        found = elementsInside(tree, isFirst ? nullptr : &found);
        if (!step.id.isEmpty()) {
            tree.load(found, Property::Attributes);
            keep(found, [&](int element) { return tree.at(element).id == step.id; });
        }
        if (step.name)
            keepNamed(tree, step, found);
        else if (step.roles) {
            tree.load(found, Property::Role);
            keep(found, [&](int element) { return isOneOf(*step.roles, tree.at(element).role); });
        }
        keepInStates(tree, step, visibility, isLast, found);
        if (!step.roles)
            dropParts(tree, found);
        if (step.number == 0)
            continue;
        tree.load(found, Property::Rect);
        sortInReadingOrder(tree, found);
        const auto number = static_cast<std::size_t>(step.number);
        found = number <= found.size() ? std::vector<int> {found[number - 1]} : std::vector<int>();
    }
    return found;
}

QString describe(ElementTree& tree, int index)
{
    tree.load(index, Property::Role | Property::Name);
    if (tree.at(index).name.trimmed().isEmpty())
        tree.load(index, naming);
    const QString name = tree.effectiveName(index);
    const QString shown = shortRoleName(tree.at(index).role);
    return name.isEmpty() ? shown : shown + QLatin1Char(' ') + quotedName(name.trimmed());
}

QString describePath(ElementTree& tree, int index)
{
    QStringList steps {describe(tree, index)};
    for (int above = tree.at(index).parent; above >= 0 && tree.at(above).parent >= 0;
         above = tree.at(above).parent) {
        if (!tree.at(above).name.trimmed().isEmpty())
            steps.prepend(describe(tree, above));
    }
    return steps.join(QLatin1String(" > "));
}

QStringList similarElements(ElementTree& tree, const Locator& locator)
{
    constexpr int shown = 3;
    constexpr std::size_t mostCompared = 5000;
    const LocatorStep& step = locator.steps().back();
    if (!step.name)
        return {};
    std::vector<int> candidates = elementsInside(tree, nullptr);
    if (candidates.size() > mostCompared)
        candidates.resize(mostCompared);
    tree.load(candidates, Property::States);
    keep(candidates, [&](int element) {
        return tree.at(element).isShowing() && !tree.at(element).name.trimmed().isEmpty();
    });
    QStringList names;
    for (const int candidate : candidates)
        names.append(normalizedName(tree.at(candidate).name));
    const QString wanted = step.name->plainText();
    QStringList chosen;
    const auto choose = [&](const QString& name) {
        const int position = names.indexOf(name);
        if (position < 0 || chosen.size() == shown)
            return;
        const QString text = describe(tree, candidates[static_cast<std::size_t>(position)]);
        if (!chosen.contains(text))
            chosen.append(text);
    };
    choose(wanted); // another role
    QStringList left = names;
    left.removeAll(wanted);
    for (QString similar = mostSimilar(wanted, left); !similar.isEmpty() && chosen.size() < shown;
         similar = mostSimilar(wanted, left)) {
        choose(similar);
        left.removeAll(similar);
    }
    for (const QString& name : left) {
        const bool isPart = name.contains(wanted, Qt::CaseInsensitive)
            || (name.size() > 2 && wanted.contains(name, Qt::CaseInsensitive));
        if (isPart && !wanted.isEmpty())
            choose(name);
    }
    return chosen;
}

} // namespace Zendra::Runner
