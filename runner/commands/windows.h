#pragma once

#include <optional>

#include "cli/command.h"
#include "windowselector.h"

namespace Zendra::Runner
{

/// A command for the window that its first argument names.
class WindowCommand : public Command
{
public:
    void declare(Arguments& arguments) override;
    void check() override;
    int longestTime() const override { return timeout(); }

protected:
    const WindowSelector& selector() const { return *m_selector; }
    int timeout() const { return static_cast<int>(m_seconds * 1000.0); }

private:
    QString m_window;
    std::optional<WindowSelector> m_selector;
    double m_seconds = 5.0;
};

/// Changes a window, and waits until it has changed.
class WindowAction : public WindowCommand
{
public:
    void run(Session& session) const override;

protected:
    /// `window` is null when it is gone.
    virtual bool isDone(const DesktopWindows& desktop, const DesktopWindow* window) const = 0;
    /// Throws a Failure when it cannot be requested.
    virtual void request(DesktopWindows& desktop, const DesktopWindow& window) const = 0;
    /// Requests the same again, after a window has moved to a wrong place.
    virtual void correct(DesktopWindows&, const DesktopWindow&) const { }
    /// What has not happened, as the end of a sentence, for a window that still is as it is.
    virtual QString complaint(const DesktopWindow& window) const = 0;
    /// Whether to request it even if isDone().
    virtual bool isAlwaysRequested() const { return false; }
};

} // namespace Zendra::Runner
