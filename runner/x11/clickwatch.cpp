#include "clickwatch.h"

#include "cli/failure.h"

#include <X11/Xlib.h>
#include <X11/cursorfont.h>

namespace Zendra::Runner
{

ClickWatch::ClickWatch(const QByteArray& displayName)
    : m_display(openConnection(displayName))
{
    Display* display = m_display.get();
    const Cursor cursor = XCreateFontCursor(display, XC_crosshair);
    const int status = XGrabPointer(display, DefaultRootWindow(display), False,
        ButtonPressMask | ButtonReleaseMask, GrabModeAsync, GrabModeAsync, None, cursor, CurrentTime);
    XFreeCursor(display, cursor);
    if (status != GrabSuccess)
        throw operationFailure(QStringLiteral("Another program has grabbed the pointer"));
    XFlush(display);
}

/// The grab ends with the connection.
ClickWatch::~ClickWatch() = default;

int ClickWatch::fileDescriptor() const
{
    return ConnectionNumber(m_display.get());
}

std::optional<QPoint> ClickWatch::take()
{
    Display* display = m_display.get();
    while (XPending(display) > 0) {
        XEvent event;
        XNextEvent(display, &event);
        if (event.type == ButtonPress) {
            if (event.xbutton.button != Button1)
                throw operationFailure(QStringLiteral("Only a click with the left button picks an element"));
            m_pressed = QPoint(event.xbutton.x_root, event.xbutton.y_root);
        } else if (event.type == ButtonRelease && m_pressed) {
            XUngrabPointer(display, CurrentTime);
            XSync(display, False);
            return m_pressed;
        }
    }
    return std::nullopt;
}

} // namespace Zendra::Runner
