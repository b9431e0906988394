#include "clickwatch.h"

#include "cli/failure.h"
#include "session/session.h"

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

QPoint ClickWatch::await(Session& session)
{
    Display* display = m_display.get();
    std::optional<QPoint> place;
    for (;;) {
        while (XPending(display) > 0) {
            XEvent event;
            XNextEvent(display, &event);
            if (event.type == ButtonPress) {
                if (event.xbutton.button != Button1)
                    throw operationFailure(
                        QStringLiteral("Only a click with the left button picks an element"));
                place = QPoint(event.xbutton.x_root, event.xbutton.y_root);
            } else if (event.type == ButtonRelease && place) {
                XUngrabPointer(display, CurrentTime);
                XSync(display, False);
                return *place;
            }
        }
        constexpr int oneMinute = 60'000;
        session.wait(oneMinute, ConnectionNumber(display));
        session.requireNotInterrupted();
    }
}

} // namespace Zendra::Runner
