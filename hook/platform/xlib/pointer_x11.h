#pragma once

#include <zendra/geometry.h>

#include "types_x11.h"

namespace Zendra::Xlib
{

/// The reply to XQueryPointer.
struct QueriedPointer {
    bool isOnScreen; ///< whether it is on the queried screen
    Point position;  ///< on its own screen
};

/// Queries the pointer relative to a root window.
QueriedPointer queryPointer(Display* display, XWindow root);

} // namespace Zendra::Xlib
