#include "windows.h"

#include <algorithm>
#include <vector>

#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonObject>
#include <QRegularExpression>

#include <similar.h>

#include "cli/arguments.h"
#include "cli/failure.h"
#include "cli/output.h"
#include "session/session.h"
#include "x11/desktopwindows.h"

namespace Zendra::Runner
{

namespace
{

using WindowList = std::vector<DesktopWindow>;

/// Milliseconds for a window manager and an application to move the focus.
constexpr int focusTimeout = 3000;
/// Milliseconds between checks without an event: not every change that window managers make causes one.
constexpr int longestPause = 250;
/// Milliseconds in which the many changes of a window that opens are collected.
constexpr int burst = 5;

/// Synchronizes the session, whose display the windows are read from.
QByteArray settledDisplay(Session& session)
{
    session.platform();
    session.synchronize();
    return session.displayName();
}

/// Checks `isThere` now and whenever the windows have changed. False after the timeout.
template <typename Condition>
bool waitUntil(Session& session, DesktopWindows& windows, int milliseconds, Condition condition)
{
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        const qint64 left = milliseconds - timer.elapsed();
        if (left <= 0)
            return false;
        if (windows.hasChanged())
            session.wait(burst);
        else
            session.wait(static_cast<int>(std::min<qint64>(left, longestPause)), windows.fileDescriptor());
        session.requireNotInterrupted();
    }
    return true;
}

/// The last window with exactly this title, else the last one that matches it as a pattern with *; null
/// without one.
const DesktopWindow* findWindow(const WindowList& windows, const QString& title, bool visible)
{
    const auto find = [&](auto fits) {
        const auto found = std::find_if(windows.rbegin(), windows.rend(),
            [&](const DesktopWindow& window) { return window.isVisible == visible && fits(window.title); });
        return found != windows.rend() ? &*found : nullptr;
    };
    if (const DesktopWindow* exact = find([&](const QString& candidate) { return candidate == title; }))
        return exact;
    const QString pattern
        = QRegularExpression::escape(title).replace(QLatin1String("\\*"), QLatin1String(".*"));
    const QRegularExpression expression(
        QRegularExpression::anchoredPattern(pattern), QRegularExpression::DotMatchesEverythingOption);
    return find([&](const QString& candidate) { return expression.match(candidate).hasMatch(); });
}

/// The titles of visible windows, without duplicates.
QStringList visibleTitles(const WindowList& windows)
{
    QStringList titles;
    for (const DesktopWindow& window : windows) {
        if (window.isVisible && !window.title.isEmpty() && !titles.contains(window.title))
            titles.append(window.title);
    }
    return titles;
}

/// The title that was probably meant: a similar one, or one that contains it.
QString likelyTitle(const QString& title, const QStringList& titles)
{
    QStringList lowerCase;
    for (const QString& candidate : titles)
        lowerCase.append(candidate.toLower());
    const int typo = lowerCase.indexOf(mostSimilar(title, lowerCase));
    if (typo >= 0)
        return titles.at(typo);
    const QString part = QString(title).remove(QLatin1Char('*'));
    return part.isEmpty() ? QString() : titles.filter(part, Qt::CaseInsensitive).value(0);
}

QString quoted(const QString& title)
{
    constexpr int shownLength = 60;
    return QStringLiteral("'%1'").arg(
        title.size() > shownLength ? title.left(shownLength) + QStringLiteral("…") : title);
}

/// `complaint` with the titles of visible windows.
Failure windowFailure(const QString& complaint, const QString& title, const WindowList& windows)
{
    constexpr int shownTitles = 8;
    const QStringList titles = visibleTitles(windows);
    if (titles.isEmpty())
        return operationFailure(complaint + QLatin1String("; no window with a title is visible"));
    const QString likely = likelyTitle(title, titles);
    QStringList shown;
    for (const QString& visible : titles.mid(0, shownTitles))
        shown.append(quoted(visible));
    QString text = complaint;
    text += likely.isEmpty() ? QStringLiteral("; visible are ")
                             : QStringLiteral("; did you mean %1? Visible are ").arg(quoted(likely));
    text += shown.join(QLatin1String(", "));
    if (titles.size() > shownTitles)
        text += QStringLiteral(" and %1 more").arg(titles.size() - shownTitles);
    return operationFailure(text);
}

QJsonObject toJson(const DesktopWindow& window)
{
    return {{QStringLiteral("title"), window.title}, {QStringLiteral("screen"), window.area.screen},
        {QStringLiteral("x"), window.area.x}, {QStringLiteral("y"), window.area.y},
        {QStringLiteral("width"), window.area.width}, {QStringLiteral("height"), window.area.height},
        {QStringLiteral("process"), window.process > 0 ? QJsonValue(window.process) : QJsonValue()},
        {QStringLiteral("window"), static_cast<double>(window.id)}};
}

QString row(const QString& id, const QString& process, const QString& screen, const QString& area)
{
    const QString screenColumn = screen.isEmpty() ? screen : screen.leftJustified(8);
    return id.leftJustified(12) + process.leftJustified(9) + screenColumn + area.leftJustified(20);
}

QString toText(const WindowList& windows, bool withScreen)
{
    QString text = row(QStringLiteral("Window"), QStringLiteral("Process"),
                       withScreen ? QStringLiteral("Screen") : QString(), QStringLiteral("Area"))
        + QStringLiteral("Title");
    for (const DesktopWindow& window : windows) {
        const Rect& area = window.area;
        text += QLatin1Char('\n')
            + row(QStringLiteral("0x%1").arg(window.id, 0, 16),
                window.process > 0 ? QString::number(window.process) : QStringLiteral("-"),
                withScreen ? QString::number(area.screen) : QString(),
                QStringLiteral("%1,%2,%3,%4").arg(area.x).arg(area.y).arg(area.width).arg(area.height));
        text += onOneLine(window.title);
    }
    return text;
}

} // namespace

void ListWindows::run(Session& session) const
{
    DesktopWindows desktop(settledDisplay(session));
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

void WindowCommand::declare(Arguments& arguments)
{
    arguments.text("TITLE", m_title, "the whole title of the window; * matches any text");
}

void WindowCommand::check()
{
    if (m_title.isEmpty())
        throw usageFailure(QStringLiteral("TITLE is empty; '*' matches any title"));
}

void WaitWindow::declare(Arguments& arguments)
{
    WindowCommand::declare(arguments);
    arguments.seconds("--timeout S", m_seconds, 86400.0, "the timeout in seconds; 10 by default");
}

int WaitWindow::longestTime() const
{
    return static_cast<int>(m_seconds * 1000.0);
}

void WaitWindow::run(Session& session) const
{
    DesktopWindows desktop(settledDisplay(session));
    WindowList windows;
    const DesktopWindow* found = nullptr;
    const auto isThere = [&] {
        windows = desktop.read();
        found = findWindow(windows, title(), true);
        return found != nullptr;
    };
    if (!waitUntil(session, desktop, static_cast<int>(m_seconds * 1000.0), isThere)) {
        throw windowFailure(
            QStringLiteral("No window '%1' appeared within %2 s").arg(title(), QString::number(m_seconds)),
            title(), windows);
    }
    session.output().resultForPrograms(toJson(*found));
}

int Focus::longestTime() const
{
    return focusTimeout;
}

void Focus::run(Session& session) const
{
    DesktopWindows desktop(settledDisplay(session));
    const WindowList windows = desktop.read();
    const DesktopWindow* found = findWindow(windows, title(), true);
    if (found == nullptr)
        found = findWindow(windows, title(), false);
    if (found == nullptr)
        throw windowFailure(QStringLiteral("There is no window '%1'").arg(title()), title(), windows);
    desktop.activate(*found);
    if (!waitUntil(session, desktop, focusTimeout, [&] { return desktop.hasFocus(*found); })) {
        throw operationFailure(QStringLiteral("The window '%1' did not get the focus within %2 s")
                                   .arg(found->title, QString::number(focusTimeout / 1000)));
    }
    session.output().resultForPrograms(toJson(*found));
}

} // namespace Zendra::Runner
