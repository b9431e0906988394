// Commands that move the pointer and press its buttons.

#include "commands.h"

#include <optional>

#include <QJsonObject>
#include <QRegularExpression>

#include <zendra/nativeinterface.h>

#include "cli/arguments.h"
#include "cli/failure.h"
#include "cli/output.h"
#include "ranges.h"
#include "rectangle.h"
#include "session/session.h"
#include "target.h"

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

bool isPosition(const QString& word)
{
    static const QRegularExpression position(QStringLiteral("^[-+]?[0-9]+,"));
    return position.match(word).hasMatch();
}

/// The one target of a command.
Target onlyTarget(QStringList words)
{
    const Target target = takeTarget(words, QStringLiteral("The position"));
    if (!words.isEmpty()) {
        throw usageFailure(
            QStringLiteral("Unexpected '%1'; a locator is one word, such as 'button \"OK\"' in quotes")
                .arg(words.first()));
    }
    return target;
}

/// Sets the pointer's position without motion in between.
class Warp : public InputCommand
{
public:
    void declare(Arguments& arguments) override
    {
        arguments.texts("X Y|LOCATOR", m_words, "pixels from the left and from the top, or an element",
            Completion::Locator);
        arguments.number(
            "--screen N", m_screen, screenRange, "the X screen; by default that of the display name");
        m_search.declareWithOffset(arguments);
    }

    void check() override
    {
        m_target = onlyTarget(m_words);
        m_search.check({&*m_target});
        if (m_search.hasOrigin() && m_screen >= 0)
            throw usageFailure(QStringLiteral("--window and --screen cannot be combined"));
    }

    void run(Session& session) const override
    {
        const Point place = enter(session);
        require(session.native().pointerWarp(place));
    }

protected:
    /// The place, on the pointer's screen.
    Point enter(Session& session) const
    {
        const QPoint place = m_search.place(session, *m_target, false);
        const Point point {place.x(), place.y(), m_screen};
        session.enterScreen(point);
        return point;
    }

private:
    QStringList m_words;
    std::optional<Target> m_target;
    int m_screen = -1;
    ElementSearch m_search;
};

/// Moves the pointer with motion events.
class Move : public Warp
{
public:
    void run(Session& session) const override
    {
        const Point place = enter(session);
        require(session.native().pointerMove({place.x, place.y, -1}));
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
        arguments.texts("[X Y|LOCATOR]", m_words,
            "pixels from the left and from the top, or an element; at the pointer without",
            Completion::Locator);
        declareButton(arguments, m_button);
        arguments.number("--count N", m_count, {1, 100}, "how many clicks; 2 is a double click");
        m_modifiers.declare(arguments);
        m_search.declareWithOffset(arguments);
    }

    void check() override
    {
        if (!m_words.isEmpty())
            m_target = onlyTarget(m_words);
        m_search.check({m_target ? &*m_target : nullptr});
    }

    void run(Session& session) const override
    {
        NativeInterface& native = session.native();
        if (m_target)
            session.movePointer(m_search.place(session, *m_target));
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
    QStringList m_words;
    std::optional<Target> m_target;
    ElementSearch m_search;
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
        arguments.text("--at X,Y|LOCATOR", m_at, "move the pointer there first", Completion::Locator);
        m_search.declareWithOffset(arguments);
    }

    void check() override
    {
        // A position is one word here.
        if (m_at)
            m_target = isPosition(*m_at) ? Target(toPoint(*m_at, QStringLiteral("The position")))
                                         : onlyTarget({*m_at});
        m_search.check({m_target ? &*m_target : nullptr});
    }

    void run(Session& session) const override
    {
        if (m_target)
            session.movePointer(m_search.place(session, *m_target, false));
        require(session.native().wheelRoll(m_notches));
    }

private:
    int m_notches = 0;
    std::optional<QString> m_at;
    std::optional<Target> m_target;
    ElementSearch m_search;
};

class Drag : public InputCommand
{
public:
    void declare(Arguments& arguments) override
    {
        arguments.texts("X Y|LOCATOR DX DY", m_words,
            "where the drag starts, and how many pixels it goes to the right and down", Completion::Locator);
        m_modifiers.declare(arguments);
        m_search.declareWithOffset(arguments);
    }

    void check() override
    {
        QStringList words = m_words;
        m_start = takeTarget(words, QStringLiteral("The start of the drag"));
        if (words.size() != 2)
            throw usageFailure(QStringLiteral("'drag' needs a start, DX and DY"));
        m_dx = toNumber(words.at(0), coordinateRange, QStringLiteral("DX"));
        m_dy = toNumber(words.at(1), coordinateRange, QStringLiteral("DY"));
        if (const auto* start = std::get_if<QPoint>(&*m_start)) {
            toNumber(QString::number(start->x() + m_dx), coordinateRange, QStringLiteral("X + DX"));
            toNumber(QString::number(start->y() + m_dy), coordinateRange, QStringLiteral("Y + DY"));
        }
        m_search.check({&*m_start});
    }

    void run(Session& session) const override
    {
        const QPoint place = m_search.place(session, *m_start);
        const Point start {place.x(), place.y(), -1};
        session.enterScreen({start.x + m_dx, start.y + m_dy, -1});
        session.enterScreen(start);
        const DragResult drag = session.native().pointerDrag(start, m_dx, m_dy, m_modifiers.bits());
        require(drag.errorText);
        // Wait until the server has processed the delayed events of the drag.
        session.wait(drag.settleTime);
    }

private:
    QStringList m_words;
    std::optional<Target> m_start;
    ElementSearch m_search;
    int m_dx = 0;
    int m_dy = 0;
    HeldModifiers m_modifiers;
};

class Drop : public InputCommand
{
public:
    void declare(Arguments& arguments) override
    {
        arguments.texts("FROM TO", m_words,
            "where the item is and where to drop it, each as X Y in pixels or as a locator",
            Completion::Locator);
        declareButton(arguments, m_button);
        arguments.number("--distance N", m_distance, {0, 1000},
            "the program's threshold for a drag, in pixels; at least 9 are moved");
        m_modifiers.declare(arguments);
        m_search.declareWithOrigin(arguments);
    }

    void check() override
    {
        QStringList words = m_words;
        m_from = takeTarget(words, QStringLiteral("FROM"));
        m_to = takeTarget(words, QStringLiteral("TO"));
        if (!words.isEmpty())
            throw usageFailure(QStringLiteral("Unexpected '%1'").arg(words.first()));
        m_search.check({&*m_from, &*m_to});
    }

    void run(Session& session) const override
    {
        NativeInterface& native = session.native();
        const Point to = toPoint(m_search.place(session, *m_to, false));
        const Point from = toPoint(m_search.place(session, *m_from));
        session.enterScreen(to);
        session.enterScreen(from);
        require(native.pointerDragAndDropBegin(from, m_button, m_distance));
        if (session.isInterrupted())
            letGo(native, to);
        session.requireNotInterrupted();
        const QString errorText = native.pointerDragAndDropEnd(to, m_button, m_modifiers.bits(), true);
        if (!errorText.isEmpty())
            letGo(native, to);
        require(errorText);
    }

private:
    /// Releases the button and the modifiers after a drag that failed.
    void letGo(NativeInterface& native, const Point& to) const
    {
        native.pointerDragAndDropEnd(to, m_button, NoModifier, false);
        for (const int modifier : {ControlModifier, ShiftModifier, AltModifier}) {
            if ((m_modifiers.bits() & modifier) != 0)
                native.pressReleaseModifiers(modifier, false);
        }
    }

    static Point toPoint(const QPoint& place) { return {place.x(), place.y(), -1}; }

    QStringList m_words;
    std::optional<Target> m_from;
    std::optional<Target> m_to;
    ElementSearch m_search;
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
        "zendra click 'dialog \"Save As\" > button \"Save\"'\n"
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
