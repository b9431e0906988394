#pragma once

#include <QString>

#include "cli/command.h"

namespace Zendra::Runner
{

struct DesktopWindow;

/// Prints the visible windows.
class ListWindows : public Command
{
public:
    void declare(Arguments&) override { }
    void run(Session& session) const override;
};

/// A command for the window with a title, in which * matches any text.
class WindowCommand : public Command
{
public:
    void declare(Arguments& arguments) override;
    void check() override;

protected:
    const QString& title() const { return m_title; }

private:
    QString m_title;
};

/// Waits until a window is visible.
class WaitWindow : public WindowCommand
{
public:
    void declare(Arguments& arguments) override;
    int longestTime() const override;
    void run(Session& session) const override;

private:
    double m_seconds = 10.0;
};

/// Gives a window the focus.
class Focus : public WindowCommand
{
public:
    int longestTime() const override;
    void run(Session& session) const override;
};

} // namespace Zendra::Runner
