#pragma once

#include <memory>
#include <vector>

#include <QByteArray>
#include <QHash>
#include <QPoint>
#include <QRect>
#include <QSet>
#include <QSize>
#include <QString>

#include <xcb/xcb.h>

#include "connection.h"
#include "desktopwindows.h"

namespace Zendra::Runner
{

/// Looks up whose windows are on the default screen of a display, on a connection of its own.
class WindowProbe
{
public:
    /// Throws a Failure of status Unreachable when the display cannot be opened.
    explicit WindowProbe(const QByteArray& displayName);

    /// A text property of the root window; empty if it is missing.
    QByteArray rootProperty(const char* name) const;
    QSize screenSize() const;
    /// The processes that are clients of the display; without those on other machines.
    QSet<qint64> processes();
    struct Found {
        std::vector<xcb_window_t> windows; ///< from the root window's child to the innermost
        qint64 process = 0;                ///< 0 if unknown
        bool isPopup = false;              ///< a menu or the like, which no window manager manages
    };
    /// The window that gets the events of a pointer at this place.
    Found windowAt(const QPoint& place);
    /// The area on the screen of a process' visible window that has this title, or else about this size,
    /// without the shadow that the process draws around it. Invalid where there is none.
    QRect windowArea(qint64 process, const QString& title, const QSize& size);
    /// The title of the window, or of the next one around it that has one.
    QString title(const Found& found) const;

private:
    bool hasProperty(xcb_window_t window, xcb_atom_t name) const;

    const QByteArray m_displayName;
    std::unique_ptr<DesktopWindows> m_desktop;
    ConnectionPointer m_display;
    xcb_connection_t* m_connection; ///< the same connection
    const xcb_screen_t* m_screen;
    xcb_atom_t m_stateAtom;
    xcb_atom_t m_nameAtom;
    xcb_atom_t m_extentsAtom;              ///< of the shadow
    std::uint32_t m_clientMask;            ///< the bits of a window's number that its client shares
    QHash<xcb_window_t, qint64> m_clients; ///< processes by those bits
};

} // namespace Zendra::Runner
