#include "pointerwatch.h"

#include <unistd.h>

#include <QElapsedTimer>

#include <X11/Xlib.h>

namespace Zendra::Runner
{

namespace
{

constexpr int releaseTimeout = 1000;  ///< milliseconds
constexpr int pollsWithoutPause = 20; ///< most window managers need fewer
constexpr unsigned int pause = 1000;  ///< microseconds

/// The bit of a button in the pointer's state; 0 for buttons that have none.
unsigned int stateMask(MouseButton::Value button)
{
    switch (button) {
    case MouseButton::Left:
    case MouseButton::Primary:
        return Button1Mask;
    case MouseButton::Middle:
        return Button2Mask;
    case MouseButton::Right:
    case MouseButton::Secondary:
        return Button3Mask;
    default:
        return 0;
    }
}

struct PointerState {
    Window root = None;
    unsigned int buttons = 0;
};

PointerState pointerState(Display* display)
{
    Window root = None;
    Window child = None;
    int rootX = 0;
    int rootY = 0;
    int windowX = 0;
    int windowY = 0;
    unsigned int state = 0;
    XQueryPointer(
        display, DefaultRootWindow(display), &root, &child, &rootX, &rootY, &windowX, &windowY, &state);
    return {root, state};
}

} // namespace

PointerWatch::PointerWatch(const QByteArray& displayName)
    : m_connection(openConnection(displayName))
{
    Display* display = m_connection.get();
    for (int screen = 0; screen < ScreenCount(display); ++screen) {
        m_screenSizes.emplace_back(DisplayWidth(display, screen), DisplayHeight(display, screen));
        XSelectInput(display, RootWindow(display, screen), StructureNotifyMask);
    }
}

int PointerWatch::defaultScreen() const
{
    return DefaultScreen(m_connection.get());
}

int PointerWatch::pointerScreen() const
{
    Display* display = m_connection.get();
    const Window root = pointerState(display).root;
    int screen = 0;
    while (screen + 1 < ScreenCount(display) && RootWindow(display, screen) != root)
        ++screen;
    return screen;
}

QSize PointerWatch::screenSize(int screen)
{
    Display* display = m_connection.get();
    while (XPending(display) > 0) {
        XEvent event;
        XNextEvent(display, &event);
        for (int index = 0; event.type == ConfigureNotify && index < screenCount(); ++index) {
            if (event.xconfigure.window == RootWindow(display, index))
                m_screenSizes[static_cast<std::size_t>(index)]
                    = {event.xconfigure.width, event.xconfigure.height};
        }
    }
    return m_screenSizes.at(static_cast<std::size_t>(screen));
}

void PointerWatch::waitForRelease(MouseButton::Value button) const
{
    QElapsedTimer timer;
    timer.start();
    for (int poll = 0; timer.elapsed() < releaseTimeout; ++poll) {
        if ((pointerState(m_connection.get()).buttons & stateMask(button)) == 0)
            return;
        if (poll >= pollsWithoutPause)
            usleep(pause);
    }
}

} // namespace Zendra::Runner
