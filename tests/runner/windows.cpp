#include "windows.h"

#include <X11/Xlib.h>

namespace Zendra::Tests
{

int visibleWindows(const Connection& connection)
{
    Window root = None;
    Window parent = None;
    Window* windows = nullptr;
    unsigned int count = 0;
    // A window that goes away between the two requests would end the test: nobody else changes the tree
    // meanwhile.
    XGrabServer(connection);
    XQueryTree(connection, DefaultRootWindow(connection.get()), &root, &parent, &windows, &count);
    int visible = 0;
    for (unsigned int index = 0; index < count; ++index) {
        XWindowAttributes attributes;
        if (XGetWindowAttributes(connection, windows[index], &attributes) != 0
            && attributes.map_state == IsViewable)
            ++visible;
    }
    XUngrabServer(connection);
    connection.sync();
    if (windows != nullptr)
        XFree(windows);
    return visible;
}

} // namespace Zendra::Tests
