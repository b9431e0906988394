#include "elementpicker.h"

#include <algorithm>

#include "cli/failure.h"
#include "elements.h"

namespace Zendra::Runner
{

namespace
{

/// The smallest element that shows at the place; -1 if there is none.
int elementAt(Elements& elements, const QPoint& place)
{
    ElementTree& tree = elements.tree();
    const WindowProbe::Found window = elements.display().windowAt(place);
    std::vector<int> inside;
    for (std::size_t index = 0; index < tree.elements().size(); ++index)
        inside.push_back(static_cast<int>(index));
    tree.load(inside, Property::States | Property::Rect | Property::Role);
    int top = -1;
    int smallest = -1;
    for (const int index : inside) {
        const Element& element = tree.at(index);
        const bool isHere = element.depth > 0 && element.isShowing() && element.rect.contains(place)
            && (window.process == 0 || tree.applicationOf(index).process == window.process);
        if (!isHere)
            continue;
        if (element.depth == 1)
            top = index;
        const auto area = [&](int of) {
            return static_cast<qint64>(tree.at(of).rect.width()) * tree.at(of).rect.height();
        };
        if (smallest < 0 || area(index) <= area(smallest))
            smallest = index;
    }
    const int hit = top < 0 ? -1 : tree.indexOf(tree.elementAt(top, place));
    return hit < 0 || !tree.at(hit).isShowing() || !tree.at(hit).rect.contains(place) ? smallest : hit;
}

} // namespace

QString pickLocator(Elements& elements, const QPoint& place)
{
    ElementTree& tree = elements.read(searchedProperties);
    int index = elementAt(elements, place);
    if (index < 0) {
        const QString title = elements.display().title(elements.display().windowAt(place));
        throw operationFailure(
            QStringLiteral("No program describes an element at %1,%2%3")
                .arg(place.x())
                .arg(place.y())
                .arg(title.isEmpty() ? QString() : QStringLiteral("; there is the window '%1'").arg(title)));
    }
    const QString step = describe(tree, index);
    const QString name = tree.effectiveName(index).trimmed();
    QStringList candidates;
    if (!tree.at(index).id.isEmpty())
        candidates.append(QStringLiteral("id=%1").arg(tree.at(index).id));
    if (!name.isEmpty())
        candidates.append(quotedName(name));
    candidates.append(step);
    candidates.append(roleName(tree.at(index).role) + step.mid(shortRoleName(tree.at(index).role).size()));
    for (int above = tree.at(index).parent; above >= 0 && tree.at(above).parent >= 0;
         above = tree.at(above).parent) {
        if (!tree.at(above).name.trimmed().isEmpty())
            candidates.append(describe(tree, above) + QLatin1String(" > ") + step);
    }
    std::sort(candidates.begin(), candidates.end(),
        [](const QString& left, const QString& right) { return left.size() < right.size(); });
    const auto finds
        = [&](const QString& text) { return findElements(tree, Locator(text), Visibility::Showing); };
    QString numbered;
    for (const QString& candidate : candidates) {
        const std::vector<int> found = finds(candidate);
        if (found == std::vector<int> {index})
            return candidate;
        for (std::size_t number = 1; numbered.isEmpty() && number <= found.size(); ++number) {
            const QString text = QStringLiteral("%1 #%2").arg(candidate).arg(number);
            if (finds(text) == std::vector<int> {index})
                numbered = text;
        }
    }
    if (numbered.isEmpty())
        throw operationFailure(QStringLiteral("No locator distinguishes %1").arg(describePath(tree, index)));
    return numbered;
}

} // namespace Zendra::Runner
