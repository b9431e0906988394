#pragma once

#include <QJsonObject>
#include <QString>

#include "elements/elementtree.h"

namespace Zendra::Runner
{

// Elements as text and JSON.

/// Reads what printing elements needs.
void loadPrinted(ElementTree& tree, const std::vector<int>& elements);
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
