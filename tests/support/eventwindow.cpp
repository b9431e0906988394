#include "eventwindow.h"

#include <chrono>
#include <thread>
#include <utility>

#include <X11/Xlib.h>
#include <X11/Xutil.h>

namespace Zendra::Tests
{

namespace
{

using Clock = std::chrono::steady_clock;
constexpr std::chrono::seconds eventTimeout {10};

std::string place(int x, int y)
{
    return " @" + std::to_string(x) + ',' + std::to_string(y);
}

std::string describeKey(XKeyEvent& event)
{
    KeySym symbol = NoSymbol;
    XLookupString(&event, nullptr, 0, &symbol, nullptr);
    const char* name = XKeysymToString(symbol);
    return std::string(event.type == KeyPress ? "KeyPress " : "KeyRelease ") + (name != nullptr ? name : "?")
        + '(' + std::to_string(event.keycode) + ") state=" + std::to_string(event.state);
}

/// The line for an event; empty for one that is of no interest here.
std::string describe(XEvent& event)
{
    std::string line;
    switch (event.type) {
    case KeyPress:
    case KeyRelease:
        line = describeKey(event.xkey);
        break;
    case ButtonPress:
    case ButtonRelease:
        line = (event.type == ButtonPress ? "ButtonPress " : "ButtonRelease ")
            + std::to_string(event.xbutton.button) + place(event.xbutton.x_root, event.xbutton.y_root)
            + " state=" + std::to_string(event.xbutton.state);
        break;
    case MotionNotify:
        line = "Motion" + place(event.xmotion.x_root, event.xmotion.y_root)
            + " state=" + std::to_string(event.xmotion.state);
        break;
    default:
        return {};
    }
    return event.xany.send_event != False ? line + " sent" : line;
}

} // namespace

EventWindow::EventWindow(const XServer& server, int screen)
    : m_connection(server)
{
    Display* display = m_connection;
    XSetWindowAttributes attributes {};
    attributes.override_redirect = True;
    attributes.event_mask = KeyPressMask | KeyReleaseMask | ButtonPressMask | ButtonReleaseMask
        | PointerMotionMask | FocusChangeMask | StructureNotifyMask;
    m_window = XCreateWindow(display, RootWindow(display, screen), 0, 0,
        static_cast<unsigned int>(DisplayWidth(display, screen)),
        static_cast<unsigned int>(DisplayHeight(display, screen)), 0, CopyFromParent, InputOutput, nullptr,
        CWOverrideRedirect | CWEventMask, &attributes);
    XMapRaised(display, m_window);
    XEvent event {};
    XWindowEvent(display, m_window, StructureNotifyMask, &event); // mapped: without a manager also viewable
    XSetInputFocus(display, m_window, RevertToPointerRoot, CurrentTime);
    XWindowEvent(display, m_window, FocusChangeMask, &event);
}

void EventWindow::collect()
{
    while (XPending(m_connection) > 0) {
        XEvent event {};
        XNextEvent(m_connection, &event);
        std::string line = describe(event);
        if (!line.empty())
            m_lines.push_back(std::move(line));
    }
}

Lines EventWindow::take(std::size_t count)
{
    const auto end = Clock::now() + eventTimeout;
    collect();
    while (m_lines.size() < count && Clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        collect();
    }
    m_connection.sync();
    collect();
    return std::exchange(m_lines, {});
}

} // namespace Zendra::Tests
