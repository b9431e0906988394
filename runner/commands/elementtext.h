#pragma once

#include <QJsonObject>
#include <QString>

#include "elements/elementtree.h"

namespace Zendra::Runner
{

// Elements as text and JSON.

/// What printing an element needs.
constexpr PropertySet printedProperties = Property::Name | Property::Role | Property::States | Property::Rect
    | Property::Interfaces | Property::Description | Property::Attributes | Property::Labels;

/// Reads values and texts of the elements that have them.
void loadContents(ElementTree& tree, const std::vector<int>& elements);
/// What an element contains: its text, or where it has none, its name.
QString contentOf(ElementTree& tree, int index);
/// The number that a slider or the like shows; empty without one.
QString valueOf(ElementTree& tree, int index);

QString rectText(const QRect& rect);
QJsonArray toJson(const QRect& rect);
/// With the elements inside, down to `depth` levels.
QJsonObject toJson(const ElementTree& tree, int index, int depth);
/// A line for the element and each one inside.
QString toText(const ElementTree& tree, int index, int depth);

} // namespace Zendra::Runner
