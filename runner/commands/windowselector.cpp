#include "windowselector.h"

#include <algorithm>
#include <iterator>

#include <QElapsedTimer>

#include <similar.h>

#include "session/session.h"

namespace Zendra::Runner
{

namespace
{

using WindowList = std::vector<DesktopWindow>;

/// Milliseconds between checks without an event: not every change that window managers make causes one.
constexpr int longestPause = 250;
/// Milliseconds in which the many changes of a window that opens are collected.
constexpr int burst = 5;

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

constexpr int shownWindows = 8;

/// The first of the texts, and how many there are more.
QString shortList(const QStringList& texts)
{
    const QString shown = texts.mid(0, shownWindows).join(QLatin1String(", "));
    return texts.size() > shownWindows
        ? shown + QStringLiteral(" and %1 more").arg(texts.size() - shownWindows)
        : shown;
}

Failure ambiguity(const QString& text, const WindowList& windows)
{
    QStringList shown;
    for (const DesktopWindow& window : windows)
        shown.append(QStringLiteral("0x%1 %2").arg(window.id, 0, 16).arg(quoted(window.title)));
    return operationFailure(QStringLiteral("%1 windows match '%2': %3; name one by its id")
                                .arg(windows.size())
                                .arg(text, shortList(shown)));
}

std::optional<xcb_window_t> toId(const QString& text)
{
    bool isNumber = false;
    const xcb_window_t id = text.startsWith(QLatin1String("0x")) ? text.mid(2).toUInt(&isNumber, 16) : 0;
    return isNumber ? std::optional<xcb_window_t>(id) : std::nullopt;
}

} // namespace

DesktopWindows openDesktop(Session& session)
{
    session.platform();
    session.synchronize();
    return DesktopWindows(session.displayName());
}

bool waitForWindows(
    Session& session, DesktopWindows& desktop, int timeout, const std::function<bool()>& condition)
{
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        const qint64 left = timeout - timer.elapsed();
        if (left <= 0)
            return false;
        if (desktop.hasChanged())
            session.wait(static_cast<int>(std::min<qint64>(left, burst)));
        else
            session.wait(static_cast<int>(std::min<qint64>(left, longestPause)), desktop.fileDescriptor());
        session.requireNotInterrupted();
    }
    return true;
}

WindowSelector::WindowSelector(const QString& text)
    : m_text(text)
    , m_id(toId(text))
    , m_title(text)
{
    if (text.isEmpty())
        throw usageFailure(QStringLiteral("The title of the window is empty; '*' matches any title"));
}

bool WindowSelector::matches(const DesktopWindow& window) const
{
    return m_id ? window.id == *m_id : m_title.matches(window.title);
}

WindowList WindowSelector::select(const WindowList& windows) const
{
    WindowList found;
    const auto add = [&](auto fits) {
        for (const bool visible : {true, false}) {
            if (!found.empty())
                return;
            std::copy_if(windows.begin(), windows.end(), std::back_inserter(found),
                [&](const DesktopWindow& window) { return window.isVisible == visible && fits(window); });
        }
    };
    add([&](const DesktopWindow& window) { return window.title == m_text; });
    add([&](const DesktopWindow& window) { return matches(window); });
    return found;
}

DesktopWindow WindowSelector::waitFor(
    Session& session, DesktopWindows& desktop, int timeout, bool visible) const
{
    WindowList all;
    WindowList found;
    const auto isThere = [&] {
        all = desktop.read();
        found = select(all);
        return !found.empty() && (found.front().isVisible || !visible);
    };
    if (!waitForWindows(session, desktop, timeout, isThere)) {
        throw failure(QStringLiteral("No window '%1' appeared within %2 s")
                          .arg(m_text, QString::number(timeout / 1000.0)),
            all);
    }
    if (found.size() > 1)
        throw ambiguity(m_text, found);
    return found.front();
}

Failure WindowSelector::failure(const QString& complaint, const WindowList& windows) const
{
    const QStringList titles = visibleTitles(windows);
    if (titles.isEmpty())
        return operationFailure(complaint + QLatin1String("; no window with a title is visible"));
    const QString likely = m_id ? QString() : likelyTitle(m_text, titles);
    QStringList shown;
    for (const QString& visible : titles)
        shown.append(quoted(visible));
    QString text = complaint;
    text += likely.isEmpty() ? QStringLiteral("; visible are ")
                             : QStringLiteral("; did you mean %1? Visible are ").arg(quoted(likely));
    return operationFailure(text + shortList(shown));
}

} // namespace Zendra::Runner
