// Commands that list windows, wait for them and change them.

#include "windows.h"

#include <algorithm>

#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonObject>

#include "cli/arguments.h"
#include "cli/failure.h"
#include "cli/output.h"
#include "commands.h"
#include "ranges.h"
#include "session/session.h"

namespace Zendra::Runner
{

namespace
{

using WindowList = std::vector<DesktopWindow>;

constexpr int mostCorrections = 3;

QJsonObject toJson(const DesktopWindow& window)
{
    return {{QStringLiteral("title"), window.title}, {QStringLiteral("class"), window.className},
        {QStringLiteral("screen"), window.area.screen}, {QStringLiteral("x"), window.area.x},
        {QStringLiteral("y"), window.area.y}, {QStringLiteral("width"), window.area.width},
        {QStringLiteral("height"), window.area.height},
        {QStringLiteral("process"), window.process > 0 ? QJsonValue(window.process) : QJsonValue()},
        {QStringLiteral("window"), static_cast<double>(window.id)}};
}

QString areaText(const Rect& area)
{
    return QStringLiteral("%1,%2,%3,%4").arg(area.x).arg(area.y).arg(area.width).arg(area.height);
}

QString toText(const WindowList& windows, bool withScreen)
{
    const QString classTitle = QStringLiteral("Class");
    int classWidth = classTitle.size();
    for (const DesktopWindow& window : windows)
        classWidth = std::max<int>(classWidth, onOneLine(window.className).size());
    const auto row = [&](const QString& id, const QString& process, const QString& screen,
                         const QString& area, const QString& className) {
        return id.leftJustified(12) + process.leftJustified(9)
            + (withScreen ? screen.leftJustified(8) : QString()) + area.leftJustified(20)
            + className.leftJustified(classWidth + 2);
    };
    QString text = row(QStringLiteral("Window"), QStringLiteral("Process"), QStringLiteral("Screen"),
                       QStringLiteral("Area"), classTitle)
        + QStringLiteral("Title");
    for (const DesktopWindow& window : windows) {
        text += QLatin1Char('\n')
            + row(QStringLiteral("0x%1").arg(window.id, 0, 16),
                window.process > 0 ? QString::number(window.process) : QStringLiteral("-"),
                QString::number(window.area.screen), areaText(window.area),
                window.className.isEmpty() ? QStringLiteral("-") : onOneLine(window.className));
        text += onOneLine(window.title);
    }
    return text;
}

class ListWindows : public Command
{
public:
    void declare(Arguments&) override { }

    void run(Session& session) const override
    {
        DesktopWindows desktop = openDesktop(session);
        WindowList windows = desktop.read();
        windows.erase(std::remove_if(windows.begin(), windows.end(),
                          [](const DesktopWindow& window) { return !window.isVisible; }),
            windows.end());
        QJsonArray objects;
        for (const DesktopWindow& window : windows)
            objects.append(toJson(window));
        session.output().result(
            toText(windows, desktop.screenCount() > 1), {{QStringLiteral("windows"), objects}});
    }
};

/// Waits until a window is visible, or until none is.
class WaitWindow : public WindowCommand
{
public:
    void declare(Arguments& arguments) override
    {
        WindowCommand::declare(arguments);
        arguments.flag("--gone", m_gone, "wait until no such window is visible");
    }

    ApplicationEnd applicationEnd() const override
    {
        return m_gone ? ApplicationEnd::Expected : ApplicationEnd::Failure;
    }

    void run(Session& session) const override
    {
        DesktopWindows desktop = openDesktop(session);
        WindowList windows;
        WindowList found;
        const auto isDone = [&] {
            windows = desktop.read();
            found = selector().select(windows);
            const bool isVisible = !found.empty() && found.front().isVisible;
            return isVisible != m_gone;
        };
        if (!waitForWindows(session, desktop, timeout(), isDone)) {
            const QString seconds = QString::number(timeout() / 1000.0);
            throw m_gone ? operationFailure(
                QStringLiteral("The window '%1' did not go within %2 s").arg(found.front().title, seconds))
                         : selector().failure(QStringLiteral("No window '%1' appeared within %2 s")
                                                  .arg(selector().text(), seconds),
                             windows);
        }
        if (!m_gone)
            session.output().resultForPrograms(toJson(found.back()));
    }

private:
    bool m_gone = false;
};

class Focus : public WindowAction
{
protected:
    bool isDone(const DesktopWindows& desktop, const DesktopWindow* window) const override
    {
        return window != nullptr && window->isVisible && desktop.hasFocus(*window);
    }
    void request(DesktopWindows& desktop, const DesktopWindow& window) const override
    {
        desktop.activate(window);
    }
    QString complaint(const DesktopWindow&) const override { return QStringLiteral("did not get the focus"); }
    /// The focus may be there, and the window below others.
    bool isAlwaysRequested() const override { return true; }
};

class CloseWindow : public WindowAction
{
public:
    ApplicationEnd applicationEnd() const override { return ApplicationEnd::Effect; }

protected:
    bool isDone(const DesktopWindows&, const DesktopWindow* window) const override
    {
        return window == nullptr;
    }
    void request(DesktopWindows& desktop, const DesktopWindow& window) const override
    {
        if (!desktop.close(window)) {
            throw operationFailure(
                QStringLiteral("The window '%1' cannot be closed: it does not support WM_DELETE_WINDOW")
                    .arg(window.title));
        }
    }
    QString complaint(const DesktopWindow&) const override { return QStringLiteral("did not close"); }
};

class MoveWindow : public WindowAction
{
public:
    void declare(Arguments& arguments) override
    {
        WindowAction::declare(arguments);
        arguments.number("X", m_x, coordinateRange, "pixels from the left of the screen, without the frame");
        arguments.number("Y", m_y, coordinateRange, "pixels from the top of the screen");
    }

protected:
    bool isDone(const DesktopWindows&, const DesktopWindow* window) const override
    {
        return window != nullptr && window->area.x == m_x && window->area.y == m_y;
    }
    void request(DesktopWindows& desktop, const DesktopWindow& window) const override
    {
        desktop.move(window, m_x, m_y);
    }
    /// Window managers differ in what they count as the border of a window.
    void correct(DesktopWindows& desktop, const DesktopWindow& window) const override
    {
        desktop.move(window, 2 * m_x - window.area.x, 2 * m_y - window.area.y);
    }
    QString complaint(const DesktopWindow& window) const override
    {
        return QStringLiteral("did not move to %3,%4, but is at %1,%2,")
            .arg(window.area.x)
            .arg(window.area.y)
            .arg(m_x)
            .arg(m_y);
    }

private:
    int m_x = 0;
    int m_y = 0;
};

class ResizeWindow : public WindowAction
{
public:
    void declare(Arguments& arguments) override
    {
        WindowAction::declare(arguments);
        arguments.number("W", m_width, sizeRange, "the width in pixels, without the frame");
        arguments.number("H", m_height, sizeRange, "the height in pixels");
    }

protected:
    bool isDone(const DesktopWindows&, const DesktopWindow* window) const override
    {
        // Terminals have whole lines and columns.
        return window != nullptr && std::abs(window->area.width - m_width) < window->sizeStep.width()
            && std::abs(window->area.height - m_height) < window->sizeStep.height();
    }
    void request(DesktopWindows& desktop, const DesktopWindow& window) const override
    {
        desktop.resize(window, {m_width, m_height});
    }
    QString complaint(const DesktopWindow& window) const override
    {
        return QStringLiteral("did not become %3x%4, but is %1x%2,")
            .arg(window.area.width)
            .arg(window.area.height)
            .arg(m_width)
            .arg(m_height);
    }

private:
    int m_width = 0;
    int m_height = 0;
};

void requireManager(bool isRequested, const char* action)
{
    if (!isRequested) {
        throw operationFailure(
            QStringLiteral("'%1' needs a window manager that supports it").arg(QLatin1String(action)));
    }
}

class Maximize : public WindowAction
{
protected:
    bool isDone(const DesktopWindows&, const DesktopWindow* window) const override
    {
        return window != nullptr && window->isMaximized;
    }
    void request(DesktopWindows& desktop, const DesktopWindow& window) const override
    {
        requireManager(desktop.setMaximized(window, true), "maximize");
    }
    QString complaint(const DesktopWindow&) const override { return QStringLiteral("was not maximized"); }
};

class Minimize : public WindowAction
{
protected:
    bool isDone(const DesktopWindows&, const DesktopWindow* window) const override
    {
        return window != nullptr && (window->isMinimized || !window->isVisible);
    }
    void request(DesktopWindows& desktop, const DesktopWindow& window) const override
    {
        requireManager(desktop.minimize(window), "minimize");
    }
    QString complaint(const DesktopWindow&) const override { return QStringLiteral("was not minimized"); }
};

class Restore : public WindowAction
{
protected:
    bool isDone(const DesktopWindows&, const DesktopWindow* window) const override
    {
        return window != nullptr && window->isVisible && !window->isMinimized && !window->isMaximized;
    }
    void request(DesktopWindows& desktop, const DesktopWindow& window) const override
    {
        if (window.isMinimized || !window.isVisible)
            desktop.activate(window);
        if (window.isMaximized)
            desktop.setMaximized(window, false);
    }
    QString complaint(const DesktopWindow&) const override { return QStringLiteral("was not restored"); }
};

constexpr CommandInfo commands[] = {
    {"windows", "lists the visible windows",
        "The area excludes the window manager's frame and has the format of 'screenshot --area'. Menus and\n"
        "tooltips are not listed.",
        "zendra windows\n"
        "zendra --json windows",
        makeCommand<ListWindows>},
    {"wait-window", "waits until a window is visible, or with --gone until none is",
        "A title must match as a whole, including case.",
        "zendra wait-window 'Save As'\n"
        "zendra wait-window --timeout 30 '* - Editor'\n"
        "zendra wait-window --gone 'Save As'",
        makeCommand<WaitWindow>},
    {"focus", "raises a window, gives it the focus, and returns when it has it",
        "It waits for the window, like all commands for one window. Several windows that match are an error.",
        "zendra focus 'Save As'\n"
        "zendra focus 0x800007",
        makeCommand<Focus>},
    {"close-window", "asks a window to close, and returns when it is gone", "",
        "zendra close-window 'Save As'", makeCommand<CloseWindow>},
    {"move-window", "moves a window, without its frame, to X Y", "", "zendra move-window 'Editor*' 100 50",
        makeCommand<MoveWindow>},
    {"resize-window", "gives a window a size, without its frame",
        "Terminals and others with a step get the nearest size that they can have.",
        "zendra resize-window 'Editor*' 640 480", makeCommand<ResizeWindow>},
    {"maximize", "maximizes a window", "", "zendra maximize 'Editor*'", makeCommand<Maximize>},
    {"minimize", "minimizes a window", "", "zendra minimize 'Editor*'", makeCommand<Minimize>},
    {"restore", "shows a window that was minimized, or undoes maximize", "", "zendra restore 'Editor*'",
        makeCommand<Restore>},
};

} // namespace

void WindowCommand::declare(Arguments& arguments)
{
    arguments.text("WINDOW", m_window, WindowSelector::help, Completion::WindowTitle);
    arguments.timeout(m_seconds, "the timeout in seconds; 5 by default");
}

void WindowCommand::check()
{
    m_selector.emplace(m_window);
}

void WindowAction::run(Session& session) const
{
    QElapsedTimer timer;
    timer.start();
    DesktopWindows desktop = openDesktop(session);
    const DesktopWindow window = selector().waitFor(session, desktop, timeout(), false);
    std::optional<DesktopWindow> now = window;
    if (isAlwaysRequested() || !isDone(desktop, &window)) {
        request(desktop, window);
        Rect before = window.area;
        int corrections = 0;
        const auto isDoneNow = [&] {
            now = desktop.read(window);
            const bool isDoneAlready = isDone(desktop, now ? &*now : nullptr);
            const bool hasMoved = now && (now->area.x != before.x || now->area.y != before.y);
            if (!isDoneAlready && hasMoved && corrections++ < mostCorrections) {
                before = now->area;
                correct(desktop, *now);
            }
            return isDoneAlready;
        };
        const int left = std::max(0, timeout() - static_cast<int>(timer.elapsed()));
        if (!waitForWindows(session, desktop, left, isDoneNow)) {
            throw now ? operationFailure(
                QStringLiteral("The window '%1' %2 within %3 s")
                    .arg(window.title, complaint(*now), QString::number(timeout() / 1000.0)))
                      : operationFailure(QStringLiteral("The window '%1' was closed").arg(window.title));
        }
    }
    if (now)
        session.output().resultForPrograms(toJson(*now));
}

CommandGroup windowCommands()
{
    return makeGroup("Windows", commands);
}

} // namespace Zendra::Runner
