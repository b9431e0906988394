#pragma once

#include <optional>
#include <vector>

#include <QByteArray>
#include <QSize>
#include <QString>

#include <xcb/xcb_ewmh.h>

#include <zendra/geometry.h>

#include "connection.h"

namespace Zendra::Runner
{

/// A top-level window of an application: not a menu, tooltip and the like.
struct DesktopWindow {
    xcb_window_t id = XCB_NONE;
    QString title;
    QString className; ///< of WM_CLASS
    Rect area;         ///< on its screen, without the frame of a window manager
    QSize sizeStep {1, 1};
    int process = 0;        ///< 0 if unknown
    bool isVisible = false; ///< false while minimized or on another workspace
    bool isMinimized = false;
    bool isMaximized = false;
};

/// The windows of all screens, read and watched on a connection of its own.
/// It uses xcb: a request about a window that has just been destroyed has no reply, where Xlib would call the
/// error handler.
class DesktopWindows
{
public:
    /// Throws a Failure of status Unreachable when the display cannot be opened.
    explicit DesktopWindows(const QByteArray& displayName);
    ~DesktopWindows();

    int screenCount() const { return m_ewmh.nb_screens; }
    int defaultScreen() const;

    /// All windows, screen by screen: the client list of an EWMH window manager, oldest first, or without one
    /// the visible windows, bottom first. Throws a Failure of status ConnectionLost.
    std::vector<DesktopWindow> read();
    /// The present state of a window; nothing when it was destroyed. Throws a Failure of status
    /// ConnectionLost.
    std::optional<DesktopWindow> read(const DesktopWindow& window);

    /// Whether there were events about a change of the windows since the last call.
    bool hasChanged();
    /// Readable when there may be events that hasChanged() has not seen.
    int fileDescriptor() const;

    /// Requests that a window is raised and gets the focus.
    void activate(const DesktopWindow& window);
    /// Whether this window, or one inside, has the keyboard focus.
    bool hasFocus(const DesktopWindow& window) const;
    /// Requests that a window is closed as by its user. False if it does not support that.
    bool close(const DesktopWindow& window);
    /// Requests a place, or a size, of a window without its frame.
    void move(const DesktopWindow& window, int x, int y);
    void resize(const DesktopWindow& window, const QSize& size);
    /// The following return false without a window manager that supports it.
    bool setMaximized(const DesktopWindow& window, bool maximized);
    bool minimize(const DesktopWindow& window);

private:
    Q_DISABLE_COPY(DesktopWindows)

    struct PendingRequests;

    void select(xcb_window_t window, std::uint32_t events) const;
    std::vector<xcb_window_t> children(xcb_window_t window) const;
    xcb_window_t parent(xcb_window_t window) const;
    bool hasProperty(xcb_window_t window, xcb_atom_t property) const;
    bool isManaged(int screen);
    bool supports(int screen, xcb_atom_t request);
    bool requestMoveResize(const DesktopWindow& window, int flags, const Rect& area);
    void throwIfLost() const;
    void sendToRoot(const DesktopWindow& window, xcb_atom_t type, std::uint32_t data) const;
    std::optional<std::vector<xcb_window_t>> managedWindows(int screen);
    xcb_window_t findClientWindow(xcb_window_t window, int levels) const;
    std::vector<xcb_window_t> shownWindows(xcb_window_t root) const;
    PendingRequests sendRequests(xcb_window_t window, xcb_window_t root);
    std::optional<DesktopWindow> collectReplies(const PendingRequests& requests, int screen);
    QString title(const PendingRequests& requests);
    QString legacyTitle(const xcb_get_property_reply_t& name) const;
    void readState(DesktopWindow& window, const PendingRequests& requests);

    ConnectionPointer m_display;
    xcb_connection_t* m_connection; ///< the same connection
    xcb_ewmh_connection_t m_ewmh = {};
    xcb_atom_t m_stateAtom;
    xcb_atom_t m_changeStateAtom;
    xcb_atom_t m_deleteAtom;
};

} // namespace Zendra::Runner
