#pragma once

#include <vector>

#include "keymap.h"

namespace Zendra::Keyboard
{

/// What has to be put back when a command that was typing is no more. It is kept on the root window.
struct Journal {
    std::uint8_t locked = 0; ///< modifiers
    std::uint8_t lockedGroup = 0;
    std::vector<xcb_keycode_t> pressed; ///< keys that typing presses
    KeyChanges before;
    KeyChanges bound; ///< the same keys as they are while typing

    QByteArray toBytes() const;
    /// None unless the bytes are those of a journal: any client may have written them.
    static std::optional<Journal> fromBytes(const QByteArray& bytes);
};

} // namespace Zendra::Keyboard
