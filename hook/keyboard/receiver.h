#pragma once

#include <QString>

#include "server.h"

namespace Zendra::Keyboard
{

/// The program that has the focus, and so receives what is typed.
class Receiver
{
public:
    /// The one that has the focus now.
    explicit Receiver(Server& server);

    /// Waits until it has handled the events that the server has sent so far, which are those of so many
    /// characters. Returns an error text.
    QString awaitHandling(std::size_t characters, int interruption) const;
    /// Waits until it has read a change of the keymap, for a moment at the most.
    void awaitKeymap() const;
    friend bool operator==(const Receiver& left, const Receiver& right)
    {
        return left.m_focus == right.m_focus;
    }

private:
    xcb_window_t focusWindow() const;
    xcb_window_t parent(xcb_window_t window) const;
    bool answersPings(xcb_window_t window) const;
    bool exists(xcb_window_t window) const;
    int processId() const;
    QString awaitPong(int timeout, int interruption) const;
    QString awaitIdle(int processId, int timeout, int interruption) const;
    void sendProbe() const;

    Server& m_server;
    xcb_window_t m_focus;
    xcb_window_t m_pinged = XCB_NONE; ///< takes part in _NET_WM_PING
};

} // namespace Zendra::Keyboard
