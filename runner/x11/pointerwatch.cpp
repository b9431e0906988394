#include "pointerwatch.h"

#include <unistd.h>

#include <QElapsedTimer>

#include <X11/Xlib.h>

namespace Zendra::Runner
{

namespace
{

constexpr int patience = 1000;        ///< milliseconds
constexpr int pollsWithoutPause = 20; ///< most window managers need fewer
constexpr unsigned int pause = 1000;  ///< microseconds

/// The bit that stands for a button in the pointer's state; 0 for buttons that have none.
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

unsigned int pointerState(Display* display)
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
    return state;
}

} // namespace

PointerWatch::PointerWatch(const QByteArray& displayName)
    : m_connection(openConnection(displayName))
{
}

void PointerWatch::waitForRelease(MouseButton::Value button) const
{
    QElapsedTimer timer;
    timer.start();
    for (int poll = 0; timer.elapsed() < patience; ++poll) {
        if ((pointerState(m_connection.get()) & stateMask(button)) == 0)
            return;
        if (poll >= pollsWithoutPause)
            usleep(pause);
    }
}

} // namespace Zendra::Runner
