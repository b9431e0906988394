#pragma once

#include <vector>

#include <QString>
#include <QStringList>

namespace Zendra::Runner
{

// Roles and states of AT-SPI (enums AtspiRole and AtspiStateType), by number and by name.

namespace Role
{
constexpr int ComboBox = 11;
constexpr int Filler = 20;
constexpr int Menu = 33;
constexpr int MenuBar = 34;
constexpr int MenuItem = 35;
constexpr int Panel = 39;
constexpr int PasswordText = 40;
constexpr int PopupMenu = 41;
constexpr int ScrollBar = 48;
constexpr int ScrollPane = 49;
constexpr int Separator = 50;
constexpr int SpinButton = 52;
constexpr int SplitPane = 53;
constexpr int Text = 61;
constexpr int ToolTip = 64;
constexpr int Viewport = 68;
constexpr int Window = 69;
constexpr int Application = 75;
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

/// Whether an element with these states is in the state that a tester means.
constexpr bool isInState(StateSet states, int state)
{
    return state == State::Enabled ? isEnabled(states) : hasState(states, state);
}

/// -1 for an unknown name.
int stateNamed(const QString& name);
/// All names, by number.
const QStringList& stateNames();
/// The names of the states in a set.
QStringList toNames(StateSet states);

} // namespace Zendra::Runner
