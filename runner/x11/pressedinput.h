#pragma once

#include <array>

#include <QByteArray>
#include <QStringList>

namespace Zendra::Runner
{

/// The keys and buttons of a display that the server shows as down.
struct PressedInput {
    std::array<char, 32> keys {}; ///< a bit for each key code, as XQueryKeymap() has them
    unsigned int buttons = 0;     ///< a bit for each button, beginning with that of button 1

    bool isEmpty() const;
};

/// Throws a Failure when the display cannot be opened.
PressedInput readPressedInput(const QByteArray& displayName);

/// Names for users: keysyms, and "button 1".
QStringList toNames(const QByteArray& displayName, const PressedInput& pressed);

/// Releases what is down and not in `except`, on a connection of its own, and waits for the server. Returns
/// what it was.
PressedInput releasePressedInput(const QByteArray& displayName, const PressedInput& except = {});

} // namespace Zendra::Runner
