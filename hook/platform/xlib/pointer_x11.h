#pragma once

#include <zendra/geometry.h>

#include "types_x11.h"

namespace Zendra::Xlib
{

/// What the server says of the pointer.
struct QueriedPointer {
    bool isOnScreen; ///< whether it is on the screen that was asked about
    Point position;  ///< on the screen that it is on
};

/// Asks where the pointer is, by the root window of a screen.
QueriedPointer queryPointer(Display* display, XWindow root);

} // namespace Zendra::Xlib
