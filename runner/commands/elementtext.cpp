#include "elementtext.h"

#include <algorithm>

#include <QJsonArray>

#include "cli/output.h"
#include "elements/locator.h"

namespace Zendra::Runner
{

namespace
{

constexpr int longestLine = 80; ///< characters of a name or text

/// The states that tell an element from others like it.
QStringList shownStates(const Element& element)
{
    QStringList names;
    for (const int state : {State::Active, State::Checked, State::Editable, State::Expanded, State::Focused,
             State::Modal, State::Pressed, State::Selected}) {
        if (hasState(element.states, state))
            names.append(stateNames().at(state));
    }
    if (!isEnabled(element.states))
        names.append(QStringLiteral("!enabled"));
    if (!element.isShowing())
        names.append(QStringLiteral("!showing"));
    return names;
}

QString shortened(const QString& text)
{
    return onOneLine(text.size() > longestLine ? text.left(longestLine) + QStringLiteral("…") : text);
}

QString line(const ElementTree& tree, int index)
{
    const Element& element = tree.at(index);
    QString text = roleName(element.role);
    const QString name = tree.effectiveName(index);
    if (!name.isEmpty())
        text += QLatin1Char(' ') + shortened(quotedName(name));
    if (!element.id.isEmpty())
        text += QStringLiteral(" id=%1").arg(onOneLine(element.id));
    for (const QString& state : shownStates(element))
        text += QStringLiteral(" [%1]").arg(state);
    if (element.value)
        text += QStringLiteral(" value %1").arg(*element.value);
    if (!element.text.isEmpty() && element.text != name)
        text += QStringLiteral(" text '%1'").arg(shortened(element.text));
    if (element.rect.isValid())
        text += QLatin1Char(' ') + rectText(element.rect);
    return text;
}

/// Reads values and texts of the elements that have them.
void loadContents(ElementTree& tree, const std::vector<int>& elements)
{
    std::vector<int> withValue;
    std::vector<int> withText;
    for (const int index : elements) {
        if (tree.at(index).interfaces.testFlag(Interface::Value))
            withValue.push_back(index);
        if (tree.at(index).interfaces.testFlag(Interface::Text))
            withText.push_back(index);
    }
    tree.load(withValue, Property::Value);
    tree.load(withText, Property::Text);
}

} // namespace

void loadPrinted(ElementTree& tree, const std::vector<int>& elements)
{
    tree.load(elements,
        Property::Name | Property::Role | Property::States | Property::Interfaces | Property::Description);
    tree.load(elements, Property::Attributes);
    std::vector<int> showing;
    std::vector<int> nameless;
    for (const int index : elements) {
        // The rectangles of others mean nothing.
        if (tree.at(index).isShowing())
            showing.push_back(index);
        if (normalizedName(tree.at(index).name).isEmpty())
            nameless.push_back(index);
    }
    tree.load(showing, Property::Rect);
    tree.load(nameless, Property::Labels);
    loadContents(tree, elements);
}

QString contentOf(ElementTree& tree, int index)
{
    loadPrinted(tree, {index});
    const bool isText = tree.at(index).interfaces.testFlag(Interface::Text);
    return isText ? tree.at(index).text : tree.effectiveName(index);
}

QString valueOf(ElementTree& tree, int index)
{
    loadPrinted(tree, {index});
    const std::optional<double> value = tree.at(index).value;
    return value ? QString::number(*value) : QString();
}

QString rectText(const QRect& rect)
{
    return QStringLiteral("%1,%2,%3,%4").arg(rect.x()).arg(rect.y()).arg(rect.width()).arg(rect.height());
}

QJsonArray toJson(const QRect& rect)
{
    return {rect.x(), rect.y(), rect.width(), rect.height()};
}

QJsonObject toJson(const ElementTree& tree, int index, int depth)
{
    const Element& element = tree.at(index);
    QJsonArray children;
    if (depth > 0) {
        for (const int child : element.children)
            children.append(toJson(tree, child, depth - 1));
    }
    return {{QStringLiteral("role"), roleName(element.role)},
        {QStringLiteral("name"), tree.effectiveName(index)}, {QStringLiteral("id"), element.id},
        {QStringLiteral("states"), QJsonArray::fromStringList(toNames(element.states))},
        {QStringLiteral("value"), element.value ? QJsonValue(*element.value) : QJsonValue()},
        {QStringLiteral("text"), element.text},
        {QStringLiteral("rect"), element.rect.isValid() ? QJsonValue(toJson(element.rect)) : QJsonValue()},
        {QStringLiteral("children"), children}};
}

QString toText(const ElementTree& tree, int index, int depth)
{
    QString text;
    std::vector<std::pair<int, int>> open {{index, 0}};
    while (!open.empty()) {
        const auto [current, level] = open.back();
        open.pop_back();
        text += QString(2 * level, QLatin1Char(' ')) + line(tree, current) + QLatin1Char('\n');
        const std::vector<int>& children = tree.at(current).children;
        if (level < depth) {
            for (auto child = children.rbegin(); child != children.rend(); ++child)
                open.emplace_back(*child, level + 1);
        }
    }
    return text;
}

} // namespace Zendra::Runner
