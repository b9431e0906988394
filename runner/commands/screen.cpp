// Commands that tell about the screen and draw on it.

#include "commands.h"

#include <QStringList>

#include <zendra/widgethighlighter.h>

#include "../arguments.h"
#include "../failure.h"
#include "../session.h"
#include "info.h"
#include "ranges.h"

namespace Zendra::Runner
{

namespace
{

Rect toRect(const QString& text)
{
    const QStringList numbers = text.split(QLatin1Char(','));
    if (numbers.size() != 4) {
        throw usageFailure(
            QStringLiteral("The rectangle '%1' is not written as X,Y,W,H, such as 10,20,300,200").arg(text));
    }
    Rect rect;
    rect.x = toNumber(numbers.at(0), coordinateRange, QStringLiteral("The rectangle's X"));
    rect.y = toNumber(numbers.at(1), coordinateRange, QStringLiteral("The rectangle's Y"));
    rect.width = toNumber(numbers.at(2), sizeRange, QStringLiteral("The rectangle's W"));
    rect.height = toNumber(numbers.at(3), sizeRange, QStringLiteral("The rectangle's H"));
    return rect;
}

/// Shows the frame while it lives, whatever ends the command.
class ShownFrame
{
public:
    ShownFrame(WidgetHighlighter& highlighter, const Rect& rect)
        : m_highlighter(highlighter)
    {
        m_highlighter.setGeometry(rect);
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
        arguments.text("X,Y,W,H", m_rectangle, "the rectangle, in pixels");
        arguments.number("--screen N", m_screen, screenRange, "the X screen; else the default one");
        arguments.seconds("--for SECONDS", m_seconds, 86400.0, "how long; 3 unless given");
    }

    void check() override
    {
        m_rect = toRect(m_rectangle);
        m_rect.screen = m_screen;
    }

    void run(Session& session) const override
    {
        session.requireScreen(m_screen);
        const ShownFrame frame(session.highlighter(), m_rect);
        session.wait(static_cast<int>(m_seconds * 1000.0));
    }

private:
    QString m_rectangle;
    int m_screen = -1;
    double m_seconds = 3.0;
    Rect m_rect;
};

constexpr CommandInfo commands[] = {
    {"info", "", "tells about the display: screens, keyboard, extensions, and what is missing", "",
        "zendra info\n"
        "zendra --json info",
        makeCommand<Info>},
    {"highlight", "X,Y,W,H [--screen N] [--for SECONDS]", "shows a frame round a rectangle for some time",
        "Ctrl+C takes the frame away before its time.",
        "zendra highlight 10,20,300,200\n"
        "zendra highlight 10,20,300,200 --for 0.5",
        makeCommand<Highlight>},
};

} // namespace

CommandGroup screenCommands()
{
    return makeGroup("Screen", commands);
}

} // namespace Zendra::Runner
