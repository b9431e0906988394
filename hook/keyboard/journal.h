#pragma once

#include <vector>

#include "keymap.h"

namespace Zendra::Keyboard
{

/// What must be restored if a command is killed while it types. Stored as a property of the root window.
struct Journal {
    std::uint8_t locked = 0; ///< modifiers
    std::uint8_t lockedGroup = 0;
    std::vector<xcb_keycode_t> pressed; ///< keys that typing presses
    KeyChanges before;
    KeyChanges bound; ///< the same keys as they are while typing

    QByteArray toBytes() const;
    /// Null if the bytes are not a valid journal: any client can write the property.
    static std::optional<Journal> fromBytes(const QByteArray& bytes);
};

} // namespace Zendra::Keyboard
