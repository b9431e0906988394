#include "nativeinterface_x11.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "pointer_x11.h"

#include <X11/Xlib.h>
#include <X11/keysym.h>

namespace Zendra
{

namespace
{

struct Step {
    int dx;
    int dy;
};

/// A small square around the start: toolkits begin a drag, and accept a drop, only after motion. The steps
/// sum to zero.
constexpr std::array<Step, 10> init_dnd {{
    {0, -1},
    {1, 0},
    {0, 1},
    {0, 1},
    {-1, 0},
    {-1, 0},
    {0, -1},
    {0, -1},
    {1, 0},
    {0, 1},
}};

/// The modifier keys of a drop, in the order in which they are both pressed and released.
struct DropModifier {
    ModifierKey flag;
    XKeySym keysym;
};
constexpr std::array<DropModifier, 3> dropModifiers {{
    {ControlModifier, XK_Control_L},
    {ShiftModifier, XK_Shift_L},
    {AltModifier, XK_Alt_L},
}};

/// Toolkits may ignore smaller motion as jitter.
constexpr int minimumStartDistance = 9;
/// The squared distance up to which the pointer jumps to its target.
constexpr int glideThreshold = 64;
constexpr int glideHalfSteps = 15;

// Waits in milliseconds.
constexpr int arrivalWait = 100;
constexpr int wiggleWait = 40;
constexpr int glideWait = 10;
constexpr int modifierReleaseWait = 50;

double squaredDistance(Point from, Point to)
{
    const double dx = static_cast<double>(to.x) - from.x;
    const double dy = static_cast<double>(to.y) - from.y;
    return dx * dx + dy * dy;
}

/// An intermediate coordinate, `t` from 0 (the start) to 1 (the target), truncated.
int between(int from, int target, double t)
{
    return static_cast<int>(from + (static_cast<double>(target) - from) * t);
}

Point pointerPlace(Display* display)
{
    // Deliberate: the result is not checked. It is false if the pointer is on another screen, but the
    // coordinates are valid.
    return Xlib::queryPointer(display, DefaultRootWindow(display)).position;
}

} // namespace

QString X11NativeInterface::pointerDragAndDropBegin(Point start, MouseButton::Value button, int distance)
{
    if (!haveXTest())
        return XTEST_MISSING;
    const X11Button xButton = toX11Button(button);
    if (!xButton.errorText.isEmpty())
        return xButton.errorText;
    moveInDrag(start.x, start.y, arrivalWait);
    fakeButton(xButton.button, true);
    flush();
    wiggle(start, 1);
    wiggle(start, std::max(distance, minimumStartDistance));
    return {};
}

QString X11NativeInterface::pointerDragAndDropEnd(
    Point target, MouseButton::Value button, int modifiers, bool moveToTarget)
{
    if (!haveXTest())
        return XTEST_MISSING;
    const X11Button xButton = toX11Button(button);
    if (!xButton.errorText.isEmpty())
        return xButton.errorText;
    if (!moveToTarget) {
        fakeButton(xButton.button, false);
        flush();
        return {};
    }

    // Modifiers are held from before the motion until after the drop.
    std::array<int, dropModifiers.size()> pressedKeyCodes {};
    size_t pressed = 0;
    for (const DropModifier& modifier : dropModifiers) {
        if ((modifiers & modifier.flag) == 0)
            continue;
        const KeyStroke stroke = keyMap()->keyCodeAndStateFromSym(modifier.keysym);
        // Deliberate: the keys pressed so far and the button stay down.
        if (!stroke.errorText.isEmpty())
            return stroke.errorText;
        pressedKeyCodes[pressed++] = static_cast<int>(stroke.keyCode);
        fakeKey(static_cast<int>(stroke.keyCode), true);
    }

    const Point current = pointerPlace(display());
    if (squaredDistance(current, target) > glideThreshold)
        glide(current, target);
    moveInDrag(target.x, target.y, arrivalWait);
    wiggleBackwards(target);
    fakeButton(xButton.button, false);
    for (size_t i = 0; i < pressed; ++i) {
        processEvents(modifierReleaseWait);
        fakeKey(pressedKeyCodes[i], false);
    }
    flush();
    return {};
}

void X11NativeInterface::moveInDrag(int x, int y, int waitMs)
{
    fakeMotion(x, y, waitMs);
    flush();
}

void X11NativeInterface::wiggle(Point centre, int scale)
{
    for (const Step& step : init_dnd) {
        centre.x = coordinateSum(centre.x, step.dx * scale);
        centre.y = coordinateSum(centre.y, step.dy * scale);
        moveInDrag(centre.x, centre.y, wiggleWait);
    }
}

void X11NativeInterface::wiggleBackwards(Point centre)
{
    for (auto step = init_dnd.rbegin(); step != init_dnd.rend(); ++step) {
        centre.x = coordinateSum(centre.x, step->dx);
        centre.y = coordinateSum(centre.y, step->dy);
        moveInDrag(centre.x, centre.y, wiggleWait);
    }
}

/// Moves along half a sine wave, slow at both ends.
void X11NativeInterface::glide(Point from, Point target)
{
    for (int i = -glideHalfSteps; i <= glideHalfSteps; ++i) {
        // Deliberate: this is pi to six digits, as the first and the last step depend on it.
        const double t = 0.5 * (1 + std::sin(i * 3.14159 * 0.03125));
        moveInDrag(between(from.x, target.x, t), between(from.y, target.y, t), glideWait);
    }
}

} // namespace Zendra
