#pragma once

#include <vector>

#include <QString>
#include <QStringList>

namespace Zendra::Runner
{

// Roles and states of AT-SPI (enums AtspiRole and AtspiStateType), by number and by name.

namespace Role
{
constexpr int Alert = 2;
constexpr int CheckBox = 7;
constexpr int CheckMenuItem = 8;
constexpr int ComboBox = 11;
constexpr int Dialog = 16;
constexpr int Frame = 23;
constexpr int Label = 29;
constexpr int List = 31;
constexpr int ListItem = 32;
constexpr int Menu = 33;
constexpr int MenuBar = 34;
constexpr int MenuItem = 35;
constexpr int PasswordText = 40;
constexpr int PopupMenu = 41;
constexpr int RadioMenuItem = 45;
constexpr int SpinButton = 52;
constexpr int Table = 55;
constexpr int TableCell = 56;
constexpr int Text = 61;
constexpr int ToolTip = 64;
constexpr int Tree = 65;
constexpr int TreeTable = 66;
constexpr int Window = 69;
constexpr int Application = 75;
constexpr int TableRow = 90;
constexpr int TreeItem = 91;
constexpr int ListBox = 98;
constexpr int StaticText = 116;
} // namespace Role

/// "push-button"; "unknown" for a number that has no name.
QString roleName(int role);
/// The name that a tester would use: "button" for a push button, otherwise roleName().
QString shortRoleName(int role);
/// The roles that a name stands for, which is a short one or one of AT-SPI's; empty for an unknown name.
std::vector<int> rolesNamed(const QString& name);
/// All names, short ones first.
const QStringList& roleNames();

namespace State
{
constexpr int Active = 1;
constexpr int Checked = 4;
constexpr int Editable = 7;
constexpr int Enabled = 8;
constexpr int Expandable = 9;
constexpr int Expanded = 10;
constexpr int Focused = 12;
constexpr int Modal = 16;
constexpr int Pressed = 20;
constexpr int Selected = 23;
constexpr int Sensitive = 24;
constexpr int Showing = 25;
constexpr int Visible = 30;
constexpr int ManagesDescendants = 31;
} // namespace State

/// A set of states, as bits.
using StateSet = quint64;

constexpr bool hasState(StateSet states, int state)
{
    return (states >> state & 1U) != 0;
}

/// Toolkits clear one or both of these states of an element that is greyed out.
constexpr bool isEnabled(StateSet states)
{
    return hasState(states, State::Enabled) || hasState(states, State::Sensitive);
}

/// -1 for an unknown name.
int stateNamed(const QString& name);
/// All names, by number.
const QStringList& stateNames();
/// The names of the states in a set.
QStringList toNames(StateSet states);

} // namespace Zendra::Runner
