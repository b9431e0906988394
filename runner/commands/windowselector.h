#pragma once

#include <functional>
#include <optional>
#include <vector>

#include <QString>

#include "cli/failure.h"
#include "cli/textpattern.h"
#include "x11/desktopwindows.h"

namespace Zendra::Runner
{

class Session;

/// The windows of a session's display. Synchronizes the session first.
DesktopWindows openDesktop(Session& session);

/// Checks `condition` now and whenever the windows have changed. False after the timeout, in milliseconds.
bool waitForWindows(
    Session& session, DesktopWindows& desktop, int timeout, const std::function<bool()>& condition);

/// Names a window by its title, as a TextPattern, or by its id, such as 0x800007.
class WindowSelector
{
public:
    static constexpr char help[] = "the title of the window, with * and ?, or /REGEX/, or the window's id";

    /// Throws a Failure of status WrongUsage.
    explicit WindowSelector(const QString& text);

    const QString& text() const { return m_text; }
    /// The visible windows that match, else the others. Those with exactly this title exclude those that
    /// match it as a pattern.
    std::vector<DesktopWindow> select(const std::vector<DesktopWindow>& windows) const;
    /// Waits for one window. Throws when there is none in time, or when there are several.
    DesktopWindow waitFor(Session& session, DesktopWindows& desktop, int timeout, bool visible) const;
    /// A failure with the titles of the visible windows.
    Failure failure(const QString& complaint, const std::vector<DesktopWindow>& windows) const;

private:
    bool matches(const DesktopWindow& window) const;

    QString m_text;
    std::optional<xcb_window_t> m_id;
    TextPattern m_title;
};

} // namespace Zendra::Runner
