// Commands that move the pointer and press its buttons.

#include "commands.h"

#include <optional>

#include <QJsonObject>

#include <zendra/nativeinterface.h>

#include "cli/arguments.h"
#include "cli/failure.h"
#include "cli/output.h"
#include "ranges.h"
#include "session/session.h"

namespace Zendra::Runner
{

namespace
{

void declareButton(Arguments& arguments, MouseButton::Value& button)
{
    arguments.choice<MouseButton::Value>("--button B", button,
        {{"left", MouseButton::Left}, {"middle", MouseButton::Middle}, {"right", MouseButton::Right},
            {"back", MouseButton::Back}, {"forward", MouseButton::Forward}},
        "left (the default), middle, right, back or forward");
}

/// The modifier keys that are held during a pointer action.
struct HeldModifiers {
    bool shift = false;
    bool control = false;
    bool alt = false;

    void declare(Arguments& arguments)
    {
        arguments.flag("--shift", shift, "hold Shift");
        arguments.flag("--ctrl", control, "hold Ctrl");
        arguments.flag("--alt", alt, "hold Alt");
    }

    int bits() const
    {
        return (shift ? ShiftModifier : NoModifier) | (control ? ControlModifier : NoModifier)
            | (alt ? AltModifier : NoModifier);
    }
};

/// Sets the pointer's position without motion in between.
class Warp : public InputCommand
{
public:
    void declare(Arguments& arguments) override
    {
        arguments.number("X", m_target.x, coordinateRange, "pixels from the left");
        arguments.number("Y", m_target.y, coordinateRange, "pixels from the top");
        arguments.number(
            "--screen N", m_target.screen, screenRange, "the X screen; by default that of the display name");
    }

    void run(Session& session) const override
    {
        session.enterScreen(m_target);
        require(session.native().pointerWarp(m_target));
    }

protected:
    const Point& target() const { return m_target; }

private:
    Point m_target;
};

/// Moves the pointer with motion events.
class Move : public Warp
{
public:
    void run(Session& session) const override
    {
        session.enterScreen(target());
        require(session.native().pointerMove({target().x, target().y, -1}));
    }
};

class Where : public Command
{
public:
    void declare(Arguments&) override { }

    void run(Session& session) const override
    {
        const PointerPosition pointer = session.native().pointerPosition();
        if (pointer.errorText == QLatin1String("XQueryPointer failed")) {
            throw operationFailure(QStringLiteral("The pointer is on another screen of the display; select "
                                                  "it with --display, as in --display :0.1"));
        }
        require(pointer.errorText);
        const Point& place = pointer.position;
        session.output().result(QStringLiteral("%1 %2").arg(place.x).arg(place.y),
            {{QStringLiteral("x"), place.x}, {QStringLiteral("y"), place.y}});
    }
};

class Click : public InputCommand
{
public:
    void declare(Arguments& arguments) override
    {
        arguments.number("[X]", m_x, coordinateRange, "pixels from the left; without X and Y at the pointer");
        arguments.number("[Y]", m_y, coordinateRange, "pixels from the top");
        declareButton(arguments, m_button);
        arguments.number("--count N", m_count, {1, 100}, "how many clicks; 2 is a double click");
        m_modifiers.declare(arguments);
    }

    void check() override
    {
        if (m_x.has_value() != m_y.has_value())
            throw usageFailure(QStringLiteral("'click' needs both X and Y, or neither"));
    }

    void run(Session& session) const override
    {
        NativeInterface& native = session.native();
        if (m_x && m_y) {
            session.enterScreen({*m_x, *m_y, -1});
            require(native.pointerMove({*m_x, *m_y, -1}));
        }
        if (m_modifiers.bits() != NoModifier)
            require(native.pressReleaseModifiers(m_modifiers.bits(), true));
        QString errorText;
        for (int click = 1; errorText.isEmpty() && click <= m_count; ++click) {
            errorText = native.pointerButton(m_button, true, click);
            if (errorText.isEmpty())
                errorText = native.pointerButton(m_button, false, click);
            if (errorText.isEmpty())
                session.waitForRelease(m_button);
        }
        if (m_modifiers.bits() != NoModifier)
            require(native.pressReleaseModifiers(m_modifiers.bits(), false));
        require(errorText);
    }

private:
    std::optional<int> m_x;
    std::optional<int> m_y;
    MouseButton::Value m_button = MouseButton::Left;
    int m_count = 1;
    HeldModifiers m_modifiers;
};

class Mouse : public InputCommand
{
public:
    void declare(Arguments& arguments) override
    {
        arguments.choice<bool>("down|up", m_press, {{"down", true}, {"up", false}}, "press or release");
        declareButton(arguments, m_button);
    }

    void run(Session& session) const override
    {
        require(session.native().pointerButton(m_button, m_press, 1));
        session.heldDown().noteButton(m_button, m_press);
        if (!m_press)
            session.waitForRelease(m_button);
    }

private:
    bool m_press = true;
    MouseButton::Value m_button = MouseButton::Left;
};

class Wheel : public InputCommand
{
public:
    void declare(Arguments& arguments) override
    {
        arguments.number("N", m_notches, {-1000, 1000}, "steps; up if positive, down if negative");
    }

    void run(Session& session) const override { require(session.native().wheelRoll(m_notches)); }

private:
    int m_notches = 0;
};

class Drag : public InputCommand
{
public:
    void declare(Arguments& arguments) override
    {
        arguments.number("X", m_start.x, coordinateRange, "where the drag starts, in pixels from the left");
        arguments.number("Y", m_start.y, coordinateRange, "where the drag starts, in pixels from the top");
        arguments.number("DX", m_dx, coordinateRange, "pixels to the right");
        arguments.number("DY", m_dy, coordinateRange, "pixels down");
        m_modifiers.declare(arguments);
    }

    void check() override
    {
        toNumber(QString::number(m_start.x + m_dx), coordinateRange, QStringLiteral("X + DX"));
        toNumber(QString::number(m_start.y + m_dy), coordinateRange, QStringLiteral("Y + DY"));
    }

    void run(Session& session) const override
    {
        session.enterScreen({m_start.x + m_dx, m_start.y + m_dy, -1});
        session.enterScreen(m_start);
        const DragResult drag = session.native().pointerDrag(m_start, m_dx, m_dy, m_modifiers.bits());
        require(drag.errorText);
        // Wait until the server has processed the delayed events of the drag.
        session.wait(drag.settleTime);
    }

private:
    Point m_start;
    int m_dx = 0;
    int m_dy = 0;
    HeldModifiers m_modifiers;
};

class Drop : public InputCommand
{
public:
    void declare(Arguments& arguments) override
    {
        arguments.number("X1", m_from.x, coordinateRange, "where the item is, in pixels from the left");
        arguments.number("Y1", m_from.y, coordinateRange, "where the item is, in pixels from the top");
        arguments.number("X2", m_to.x, coordinateRange, "where to drop it, in pixels from the left");
        arguments.number("Y2", m_to.y, coordinateRange, "where to drop it, in pixels from the top");
        declareButton(arguments, m_button);
        arguments.number("--distance N", m_distance, {0, 1000},
            "the program's threshold for a drag, in pixels; at least 9 are moved");
        m_modifiers.declare(arguments);
    }

    void run(Session& session) const override
    {
        NativeInterface& native = session.native();
        session.enterScreen(m_to);
        session.enterScreen(m_from);
        require(native.pointerDragAndDropBegin(m_from, m_button, m_distance));
        if (session.isInterrupted())
            letGo(native);
        session.requireNotInterrupted();
        const QString errorText = native.pointerDragAndDropEnd(m_to, m_button, m_modifiers.bits(), true);
        if (!errorText.isEmpty())
            letGo(native);
        require(errorText);
    }

private:
    /// Releases the button and the modifiers after a drag that failed.
    void letGo(NativeInterface& native) const
    {
        native.pointerDragAndDropEnd(m_to, m_button, NoModifier, false);
        for (const int modifier : {ControlModifier, ShiftModifier, AltModifier}) {
            if ((m_modifiers.bits() & modifier) != 0)
                native.pressReleaseModifiers(modifier, false);
        }
    }

    Point m_from;
    Point m_to;
    MouseButton::Value m_button = MouseButton::Left;
    int m_distance = 0;
    HeldModifiers m_modifiers;
};

constexpr CommandInfo commands[] = {
    {"move", "moves the pointer with motion events", "",
        "zendra move 200 100\n"
        "zendra move --screen 1 0 0",
        makeCommand<Move>},
    {"warp", "sets the pointer's position in one step", "", "zendra warp 200 100", makeCommand<Warp>},
    {"where", "prints the pointer's position", "", "zendra where", makeCommand<Where>},
    {"click", "clicks at a position, or at the pointer", "",
        "zendra click 200 100\n"
        "zendra click --button right --ctrl 200 100\n"
        "zendra click --count 2",
        makeCommand<Click>},
    {"mouse", "presses or releases a button", "", "zendra mouse down --button middle", makeCommand<Mouse>},
    {"wheel", "turns the wheel by N steps, up if positive", "",
        "zendra wheel 3\n"
        "zendra wheel -3",
        makeCommand<Wheel>},
    {"drag", "drags with the left button from X Y by DX DY pixels",
        "It is fast and suits sliders and selections; use 'drop' for drag and drop.",
        "zendra drag 100 100 250 0", makeCommand<Drag>},
    {"drop", "drags the item at X1 Y1 and drops it at X2 Y2",
        "It takes about two seconds: programs require pointer motion before they start a drag or accept a drop.\n"
        "The programs define the modifiers: many move without one, and copy with --ctrl.",
        "zendra drop 100 100 400 300\n"
        "zendra drop --ctrl 100 100 400 300",
        makeCommand<Drop>},
};

} // namespace

CommandGroup pointerCommands()
{
    return makeGroup("Pointer", commands);
}

} // namespace Zendra::Runner
