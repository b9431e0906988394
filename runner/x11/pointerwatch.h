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

    /// Waits until the server has carried out a release of `button`, for a second at the most.
    ///
    /// A window manager that looks at clicks first holds the pointer's events back meanwhile. What follows a
    /// click at once would overtake it, or get lost.
    void waitForRelease(MouseButton::Value button) const;

    int screenCount() const { return static_cast<int>(m_screenSizes.size()); }
    /// The screen that the display's name stands for.
    int defaultScreen() const;
    /// The screen that the pointer is on.
    int pointerScreen() const;
    /// In pixels, as far as the server's events have told; asks the server nothing.
    QSize screenSize(int screen);

private:
    Q_DISABLE_COPY(PointerWatch)

    ConnectionPointer m_connection;
    std::vector<QSize> m_screenSizes;
};

} // namespace Zendra::Runner
