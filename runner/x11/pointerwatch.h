#pragma once

#include <vector>

#include <QByteArray>
#include <QSize>

#include <zendra/input.h>

#include "connection.h"

namespace Zendra::Runner
{

/// Watches the pointer, and the screens that it can be on, on a connection of its own.
class PointerWatch
{
public:
    explicit PointerWatch(const QByteArray& displayName);

    /// Waits until the server has processed a release of `button`, a second at the most.
    /// A window manager with a passive grab delays the events of a click. Input that follows at once would
    /// overtake it, or get lost.
    void waitForRelease(MouseButton::Value button) const;

    int screenCount() const { return static_cast<int>(m_screenSizes.size()); }
    /// The screen in the display's name.
    int defaultScreen() const;
    /// The screen that the pointer is on.
    int pointerScreen() const;
    /// In pixels, by the events received so far; no round trip.
    QSize screenSize(int screen);

private:
    Q_DISABLE_COPY(PointerWatch)

    ConnectionPointer m_connection;
    std::vector<QSize> m_screenSizes;
};

} // namespace Zendra::Runner
