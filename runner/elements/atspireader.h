#pragma once

#include <optional>
#include <vector>

#include <QFlags>
#include <QHash>
#include <QRect>
#include <QString>

#include "atspiconnection.h"
#include "roles.h"

namespace Zendra::Runner
{

// Reads replies of applications, which are not trusted: what has another type than expected becomes empty,
// and texts are cut.

/// A text, or a variant with one.
QString toText(const DBus::Message& reply);
/// A number, or a variant with one.
std::optional<double> toDouble(const DBus::Message& reply);
/// Invalid when it is not an area of a screen: toolkits report huge negative numbers for what is not shown.
QRect toRect(const DBus::Message& reply);
StateSet toStates(const DBus::Message& reply);
AccessibleRef toRef(const DBus::Message& reply);
std::vector<AccessibleRef> toRefs(const DBus::Message& reply);
QHash<QString, QString> toAttributes(const DBus::Message& reply);
/// The elements that label this one.
std::vector<AccessibleRef> toLabels(const DBus::Message& reply);

enum class Interface : unsigned {
    Action = 1,
    Component = 2,
    EditableText = 4,
    Selection = 8,
    Table = 16,
    Text = 32,
    Value = 64
};

Q_DECLARE_FLAGS(InterfaceSet, Interface)
Q_DECLARE_OPERATORS_FOR_FLAGS(InterfaceSet)

InterfaceSet toInterfaces(const DBus::Message& reply);

/// What org.a11y.atspi.Cache tells about an element.
struct CacheItem {
    AccessibleRef ref;
    AccessibleRef parent;
    int indexInParent = 0;
    int childCount = 0; ///< negative if unknown
    InterfaceSet interfaces;
    QString name;
    int role = 0;
    QString description;
    StateSet states = 0;
};

std::vector<CacheItem> toCacheItems(const DBus::Message& reply);

} // namespace Zendra::Runner
