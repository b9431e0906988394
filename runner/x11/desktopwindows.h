#pragma once

#include <optional>
#include <vector>

#include <QByteArray>
#include <QString>

#include <xcb/xcb_ewmh.h>

#include <zendra/geometry.h>

#include "connection.h"

namespace Zendra::Runner
{

/// A window of an application, as a window manager would count them: no menus, tooltips and the like.
struct DesktopWindow {
    xcb_window_t id = XCB_NONE;
    QString title;
    Rect area;              ///< on its screen, without the frame that a window manager puts round it
    int process = 0;        ///< 0 when the application does not tell
    bool isVisible = false; ///< not so while it is iconified or on another workspace
};

/// The windows of all screens, read and watched on a connection of its own.
///
/// It speaks xcb, which answers a question about a window that has just gone with nothing, where Xlib would
/// report an error.
class DesktopWindows
{
public:
    /// Throws a Failure of status Unreachable when the display cannot be opened.
    explicit DesktopWindows(const QByteArray& displayName);
    ~DesktopWindows();

    int screenCount() const { return m_ewmh.nb_screens; }

    /// All windows, screen by screen: where an EWMH window manager looks after the screen, those it knows, in
    /// the order in which they came; else the visible ones, bottom first. Throws a Failure of status
    /// ConnectionLost.
    std::vector<DesktopWindow> read();

    /// Whether the server told of a change, in a window read before or in their number, since the last call.
    bool hasChanged();
    /// Readable when the server may have something to tell that hasChanged() has not seen.
    int fileDescriptor() const;

    /// Asks for a window to be brought to the front and given the focus.
    void activate(const DesktopWindow& window);
    /// Whether what is typed goes to this window or to a window inside.
    bool hasFocus(const DesktopWindow& window) const;

private:
    Q_DISABLE_COPY(DesktopWindows)

    struct PendingRequests;

    void select(xcb_window_t window, std::uint32_t events) const;
    std::vector<xcb_window_t> children(xcb_window_t window) const;
    xcb_window_t parent(xcb_window_t window) const;
    bool hasProperty(xcb_window_t window, xcb_atom_t property) const;
    bool isManaged(int screen);
    std::optional<std::vector<xcb_window_t>> managedWindows(int screen);
    xcb_window_t findClientWindow(xcb_window_t window, int levels) const;
    std::vector<xcb_window_t> shownWindows(xcb_window_t root) const;
    PendingRequests sendRequests(xcb_window_t window, xcb_window_t root);
    std::optional<DesktopWindow> collectReplies(const PendingRequests& requests, int screen);
    QString title(const PendingRequests& requests);
    QString legacyTitle(const xcb_get_property_reply_t& name) const;

    ConnectionPointer m_display;
    xcb_connection_t* m_connection; ///< the same connection
    xcb_ewmh_connection_t m_ewmh = {};
    xcb_atom_t m_stateAtom;
};

} // namespace Zendra::Runner
