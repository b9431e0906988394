#pragma once

#include <memory>

#include <QByteArray>

#include "childprocess.h"

namespace Zendra::Runner
{

/// A D-Bus session bus that ends with the object. Without one, programs start their own and leave it behind.
class SessionBus
{
public:
    /// Null if dbus-daemon is missing or does not start.
    static std::unique_ptr<SessionBus> start();
    /// Whether child processes find a bus through the environment.
    static bool isInEnvironment();

    /// The value for DBUS_SESSION_BUS_ADDRESS.
    const QByteArray& address() const { return m_address; }

private:
    SessionBus() = default;

    std::unique_ptr<ChildProcess> m_daemon;
    QByteArray m_address;
};

} // namespace Zendra::Runner
