#pragma once

#include <memory>

#include <QByteArray>

#include "accessibilitybus.h"
#include "childprocess.h"

namespace Zendra::Runner
{

/// A D-Bus session bus, with an accessibility bus if at-spi2-core is installed, that ends with the object.
///
/// Without a session bus, programs start their own and leave it behind.
class SessionBus
{
public:
    /// Does not wait for the accessibility bus. Null if dbus-daemon is missing or does not start.
    static std::unique_ptr<SessionBus> start();
    /// Whether child processes find a bus through the environment.
    static bool isInEnvironment();

    /// The value for DBUS_SESSION_BUS_ADDRESS.
    const QByteArray& address() const { return m_address; }
    /// The value for AT_SPI_BUS_ADDRESS, once programs can connect; empty without an accessibility bus.
    QByteArray accessibilityAddress() const
    {
        return m_accessibilityBus ? m_accessibilityBus->address() : QByteArray();
    }

private:
    SessionBus() = default;

    std::unique_ptr<ChildProcess> m_daemon;
    QByteArray m_address;
    std::unique_ptr<AccessibilityBus> m_accessibilityBus;
};

} // namespace Zendra::Runner
