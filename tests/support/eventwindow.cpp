#include "eventwindow.h"

#include <chrono>
#include <stdexcept>
#include <utility>

#include <poll.h>

#include <X11/Xlib.h>
#include <X11/Xutil.h>

namespace Zendra::Tests
{

namespace
{

using Clock = std::chrono::steady_clock;
constexpr std::chrono::seconds patience {10};

std::string number(unsigned int value)
{
    return std::to_string(value);
}

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
        + '(' + number(event.keycode) + ") state=" + number(event.state);
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
        line = (event.type == ButtonPress ? "ButtonPress " : "ButtonRelease ") + number(event.xbutton.button)
            + place(event.xbutton.x_root, event.xbutton.y_root) + " state=" + number(event.xbutton.state);
        break;
    case MotionNotify:
        line = "Motion" + place(event.xmotion.x_root, event.xmotion.y_root)
            + " state=" + number(event.xmotion.state);
        break;
    default:
        return {};
    }
    return event.xany.send_event != False ? line + " sent" : line;
}

/// Waits until the connection has something to read or the time is up.
void waitForInput(Display* display, Clock::time_point end)
{
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now());
    pollfd readable {ConnectionNumber(display), POLLIN, 0};
    if (XPending(display) == 0 && left.count() > 0)
        poll(&readable, 1, static_cast<int>(left.count()));
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
    waitForFocus();
}

void EventWindow::waitForFocus()
{
    Display* display = m_connection;
    XEvent event {};
    XWindowEvent(display, m_window, StructureNotifyMask, &event); // mapped: without a manager also viewable
    XSetInputFocus(display, m_window, RevertToPointerRoot, CurrentTime);
    XSync(display, False);
    const auto end = Clock::now() + patience;
    while (XCheckTypedWindowEvent(display, m_window, FocusIn, &event) == False) {
        if (Clock::now() > end)
            throw std::runtime_error("The test's window does not get the focus");
        waitForInput(display, end);
    }
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
    const auto end = Clock::now() + patience;
    collect();
    while (m_lines.size() < count && Clock::now() < end) {
        waitForInput(m_connection, end);
        collect();
    }
    m_connection.sync();
    collect();
    return std::exchange(m_lines, {});
}

} // namespace Zendra::Tests
