#include "operation.h"

#include <algorithm>
#include <utility>

#include <QRect>

#include "agent/callerror.h"

namespace Zendra::Agent
{

namespace
{

// The limits of X coordinates, and limits that keep an operation short.
constexpr int lowestCoordinate = -32768;
constexpr int highestCoordinate = 32767;
constexpr int farthestDrag = highestCoordinate - lowestCoordinate;
constexpr int mostClicks = 100;
constexpr int mostNotches = 1000;
constexpr int largestStartDistance = 1000;

int coordinate(const QVariant& argument)
{
    return number(argument, lowestCoordinate, highestCoordinate, "coordinate");
}

/// Screen -1 means any: the pointer may move to another one before the operation.
void requireOnScreen(const Context& context, const Point& point)
{
    Screens& screens = context.platform.screens();
    QStringList sizes;
    for (int screen = 0; screen < screens.count(); ++screen) {
        if (point.screen >= 0 && point.screen != screen)
            continue;
        const QSize size = screens.size(screen);
        if (QRect(QPoint(), size).contains(point.x, point.y))
            return;
        sizes.append(QStringLiteral("%1x%2").arg(size.width()).arg(size.height()));
    }
    if (!sizes.isEmpty()) {
        throw invalidArguments(QStringLiteral("%1,%2 is not on the screen, which has %3 pixels")
                                   .arg(point.x)
                                   .arg(point.y)
                                   .arg(sizes.join(QLatin1String(" or "))));
    }
}

/// A place in three arguments: x, y and the screen.
Point point(const Context& context, int index)
{
    const Point place {coordinate(context.arguments[index]), coordinate(context.arguments[index + 1]),
        screen(context, index + 2)};
    requireOnScreen(context, place);
    return place;
}

MouseButton::Value button(const QVariant& argument)
{
    constexpr int buttons[] = {MouseButton::Left, MouseButton::Middle, MouseButton::Right,
        MouseButton::Primary, MouseButton::Secondary, MouseButton::Back, MouseButton::Forward};
    const int value = argument.toInt();
    if (std::find(std::begin(buttons), std::end(buttons), value) == std::end(buttons))
        throw invalidArguments(QStringLiteral("There is no button %1").arg(value));
    return static_cast<MouseButton::Value>(value);
}

int clicks(const QVariant& argument)
{
    return number(argument, 0, mostClicks, "number of clicks");
}

Results pointerPosition(Context& context)
{
    const PointerPosition pointer = context.platform.native().pointerPosition();
    failIf(pointer.errorText);
    return QVariantList {pointer.position.x, pointer.position.y};
}

Results pointerPress(Context& context)
{
    const QVariantList& arguments = context.arguments;
    return done(context.platform.native().pointerPress(button(arguments[0]), arguments[1].toBool(),
        point(context, 2), modifiers(arguments[5]), clicks(arguments[6])));
}

Results pointerClick(Context& context)
{
    const QVariantList& arguments = context.arguments;
    return done(context.platform.native().pointerClick(
        button(arguments[0]), point(context, 1), modifiers(arguments[4]), clicks(arguments[5])));
}

Results pointerDrag(Context& context)
{
    const QVariantList& arguments = context.arguments;
    const int dx = number(arguments[3], -farthestDrag, farthestDrag, "distance");
    const int dy = number(arguments[4], -farthestDrag, farthestDrag, "distance");
    const Point start = point(context, 0);
    requireOnScreen(context, {start.x + dx, start.y + dy, start.screen});
    const DragResult result = context.platform.native().pointerDrag(start, dx, dy, modifiers(arguments[5]));
    failIf(result.errorText);
    return QVariantList {result.settleTime};
}

/// Runs half of a drag and drop. A Qt application handles the motion that starts one in a nested event loop,
/// until the drop, so that its own thread cannot wait for it.
Results drag(Context& context, OperationThread::Work work)
{
    if (context.platform.variant() == Variant::Pure)
        return done(work(context.platform.native()));
    if (context.thread != nullptr)
        return done(context.thread->errorText());
    const std::shared_ptr<NativeInterface> copy = context.platform.threadSafeCopy();
    if (copy == nullptr)
        throw operationFailed(QStringLiteral("Cannot open the display once more"));
    context.platform.native().pointerPosition(); // the copy's requests must not overtake earlier ones
    context.thread = OperationThread::start(copy, std::move(work));
    return std::nullopt;
}

Results dragAndDropBegin(Context& context)
{
    const Point start = point(context, 0);
    const MouseButton::Value which = button(context.arguments[3]);
    const int distance = number(context.arguments[4], 0, largestStartDistance, "start distance");
    return drag(context,
        [=](NativeInterface& native) { return native.pointerDragAndDropBegin(start, which, distance); });
}

Results dragAndDropEnd(Context& context)
{
    const bool moves = context.arguments[5].toBool();
    const Point target = moves ? point(context, 0) : Point();
    const MouseButton::Value which = button(context.arguments[3]);
    const int held = modifiers(context.arguments[4]);
    return drag(context,
        [=](NativeInterface& native) { return native.pointerDragAndDropEnd(target, which, held, moves); });
}

Results touch(Context& context)
{
    const QVariantList& arguments = context.arguments;
    const int type = number(arguments[0], 0, static_cast<int>(TouchType::End), "type of a touch");
    return done(context.platform.native().touch(
        static_cast<TouchType>(type), point(context, 1), arguments[4].toUInt(), arguments[5].toUInt()));
}

Results suppressFlush(Context& context)
{
    const bool before = context.caller->suppressesFlush;
    context.caller->suppressesFlush = context.arguments[0].toBool();
    if (before || context.caller->suppressesFlush)
        context.platform.setFlushSuppressed(context.caller->suppressesFlush);
    else
        context.platform.synchronize();
    return QVariantList {before};
}

} // namespace

const Operation pointerOperations[] = {
    {"PointerPosition", "", &pointerPosition},
    {"PointerMove", "iii",
        [](Context& context) { return done(context.platform.native().pointerMove(point(context, 0))); }},
    {"PointerWarp", "iii",
        [](Context& context) { return done(context.platform.native().pointerWarp(point(context, 0))); }},
    {"PointerButton", "ibi",
        [](Context& context) {
            return done(context.platform.native().pointerButton(
                button(context.arguments[0]), context.arguments[1].toBool(), clicks(context.arguments[2])));
        }},
    {"PointerPress", "ibiiiii", &pointerPress},
    {"PointerClick", "iiiiii", &pointerClick},
    {"WheelRoll", "i",
        [](Context& context) {
            return done(context.platform.native().wheelRoll(
                number(context.arguments[0], -mostNotches, mostNotches, "number of notches")));
        }},
    {"PointerDrag", "iiiiii", &pointerDrag},
    {"PointerDragAndDropBegin", "iiiii", &dragAndDropBegin},
    {"PointerDragAndDropEnd", "iiiiib", &dragAndDropEnd},
    {"Touch", "iiiiuu", &touch},
    {"SuppressFlush", "b", &suppressFlush},
    {nullptr, nullptr, nullptr},
};

} // namespace Zendra::Agent
