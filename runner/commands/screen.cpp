// Commands that describe the screen and draw on it.

#include "commands.h"

#include <algorithm>
#include <optional>

#include <QTimer>

#include <zendra/widgethighlighter.h>

#include "cli/arguments.h"
#include "cli/failure.h"
#include "info.h"
#include "ranges.h"
#include "rectangle.h"
#include "screenshot.h"
#include "session/session.h"
#include "target.h"

namespace Zendra::Runner
{

namespace
{

/// How often a tooltip that follows the pointer is moved, in milliseconds.
constexpr int followInterval = 20;

/// Shows the frame, and the tooltip if there is one, as long as the object lives.
class ShownFrame
{
public:
    ShownFrame(WidgetHighlighter& highlighter, const Rect& rect, const QString& toolTip)
        : m_highlighter(highlighter)
    {
        m_highlighter.setGeometry(rect);
        m_highlighter.setToolTip(toolTip);
        // Also a tooltip that does not follow the pointer starts below it.
        m_highlighter.setToolTipMode(
            toolTip.isEmpty() ? WidgetHighlighter::NoToolTip : WidgetHighlighter::FollowPointer);
        m_highlighter.show();
    }

    ~ShownFrame() { m_highlighter.hide(); }

private:
    Q_DISABLE_COPY(ShownFrame)

    WidgetHighlighter& m_highlighter;
};

class Highlight : public Command
{
public:
    void declare(Arguments& arguments) override
    {
        arguments.text("X,Y,W,H|LOCATOR", m_rectangle, "the rectangle, in pixels, or an element or a picture",
            Completion::Locator);
        arguments.number(
            "--screen N", m_screen, screenRange, "the X screen; by default that of the display name");
        m_search.declareWithOrigin(arguments);
        arguments.text("--tooltip TEXT", m_toolTip, "a text below the pointer");
        arguments.flag("--follow", m_follow, "the tooltip follows the pointer");
        arguments.seconds("--for SECONDS", m_seconds, 86400.0, "how long; 3 by default");
    }

    void check() override
    {
        if (beginsWithNumber(m_rectangle))
            m_rect = toRect(m_rectangle);
        else
            m_target = toTarget(m_rectangle);
        m_rect.screen = m_screen;
        m_search.checkArea(m_target ? &*m_target : nullptr);
        if ((m_target || m_search.hasOrigin()) && m_screen >= 0)
            throw usageFailure(QStringLiteral("--screen is only for a rectangle, without --window"));
        const auto isControl = [](QChar character) { return character.category() == QChar::Other_Control; };
        if (std::any_of(m_toolTip.begin(), m_toolTip.end(), isControl))
            throw usageFailure(QStringLiteral("A tooltip is one line, without line feeds and tabs"));
        if (m_follow && m_toolTip.isEmpty())
            throw usageFailure(QStringLiteral("--follow needs --tooltip"));
    }

    int longestTime() const override
    {
        constexpr int others = 6000; // milliseconds for a window, or the accessibility bus
        return static_cast<int>((m_seconds + m_search.seconds()) * 1000.0) + others;
    }

    void run(Session& session) const override
    {
        session.requireScreen(m_screen);
        WidgetHighlighter& highlighter = session.highlighter();
        const ShownFrame frame(highlighter, place(session), m_toolTip);
        QTimer follow;
        QObject::connect(&follow, &QTimer::timeout, [&highlighter] { highlighter.updateToolTip(); });
        if (m_follow)
            follow.start(followInterval);
        session.wait(static_cast<int>(m_seconds * 1000.0));
    }

private:
    Rect place(Session& session) const
    {
        if (!m_target)
            return m_search.origin().toScreen(session, m_rect);
        const QRect rect = m_search.area(session, *m_target, m_search.deadline());
        return {rect.x(), rect.y(), rect.width(), rect.height(), -1};
    }

    QString m_rectangle;
    std::optional<Target> m_target;
    int m_screen = -1;
    QString m_toolTip;
    bool m_follow = false;
    double m_seconds = 3.0;
    Rect m_rect;
    ElementSearch m_search;
};

constexpr CommandInfo commands[] = {
    {"info", "prints what the display supports: screens, keyboard, extensions", "",
        "zendra info\n"
        "zendra --json info",
        makeCommand<Info>},
    {"screenshot", "saves a picture of the screen, or of a part of it",
        "It shows what programs have drawn so far: after a click or a key, let the program draw, with 'wait-stable'\n"
        "in a script. The area is clipped to the screen.",
        "zendra screenshot screen.png\n"
        "zendra screenshot --area 10,20,300,200 dialog.jpg\n"
        "zendra screenshot --pointer click.png\n"
        "zendra screenshot --of 'dialog \"Save As\"' dialog.png\n"
        "zendra screenshot - | display",
        makeCommand<TakeScreenshot>},
    {"highlight", "shows a frame around a rectangle, and a text, for some time",
        "The text appears just below the pointer. Ctrl+C removes both early.",
        "zendra highlight 10,20,300,200\n"
        "zendra highlight 'button \"Save\"' --for 0.5\n"
        "zendra highlight 10,20,300,200 --tooltip 'the Save button' --follow",
        makeCommand<Highlight>},
};

} // namespace

CommandGroup screenCommands()
{
    return makeGroup("Screen", commands);
}

} // namespace Zendra::Runner
