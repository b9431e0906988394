#pragma once

#include <vector>

#include <QString>
#include <QStringList>

#include "elementtree.h"
#include "locator.h"

namespace Zendra::Runner
{

/// Which elements a locator means that says nothing about what can be seen.
enum class Visibility {
    Showing,
    OutOfView ///< also those that are scrolled out of view: they are in one that is showing
};

/// What a locator needs of every element. The rest is read of candidates only.
constexpr PropertySet searchedProperties = Property::Name;

/// The elements that a locator means, in the order of the tree, or in reading order where it counts. The tree
/// has been read with searchedProperties.
std::vector<int> findElements(ElementTree& tree, const Locator& locator, Visibility visibility);

/// The order in which people read: lines from top to bottom, each from left to right.
void sortInReadingOrder(const ElementTree& tree, std::vector<int>& elements);

/// A locator's step for the element: `button "OK"`.
QString describe(ElementTree& tree, int index);
/// With the elements around it that have a name: `window "Save As" > button "OK"`.
QString describePath(ElementTree& tree, int index);
/// Up to three showing elements that a locator which found none may have meant.
QStringList similarElements(ElementTree& tree, const Locator& locator);

} // namespace Zendra::Runner
