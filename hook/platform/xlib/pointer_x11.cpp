#include "pointer_x11.h"

#include <X11/Xlib.h>

namespace Zendra::Xlib
{

QueriedPointer queryPointer(Display* display, XWindow root)
{
    Window actualRoot = None;
    Window child = None;
    int windowX = 0;
    int windowY = 0;
    unsigned int mask = 0;
    QueriedPointer pointer {};
    pointer.isOnScreen = XQueryPointer(display, root, &actualRoot, &child, &pointer.position.x,
                             &pointer.position.y, &windowX, &windowY, &mask)
        != False;
    return pointer;
}

} // namespace Zendra::Xlib
