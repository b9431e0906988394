#pragma once

#include <QByteArray>

#include <zendra/input.h>

#include "connection.h"

namespace Zendra::Runner
{

/// Watches the pointer's buttons on a connection of its own.
class PointerWatch
{
public:
    explicit PointerWatch(const QByteArray& displayName);

    /// Waits until the server has carried out a release of `button`, for a second at the most.
    ///
    /// A window manager that looks at clicks first holds the pointer's events back meanwhile. What follows a
    /// click at once would overtake it, or get lost.
    void waitForRelease(MouseButton::Value button) const;

private:
    Q_DISABLE_COPY(PointerWatch)

    ConnectionPointer m_connection;
};

} // namespace Zendra::Runner
