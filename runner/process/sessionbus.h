#pragma once

#include <memory>

#include <QByteArray>

#include "childprocess.h"

namespace Zendra::Runner
{

/// A D-Bus session bus, for programs that would start one themselves and leave it behind. It ends with the
/// object.
class SessionBus
{
public:
    /// Null where the program dbus-daemon is missing or does not start.
    static std::unique_ptr<SessionBus> start();
    /// Whether programs that are started in this process's environment find a bus.
    static bool isInEnvironment();

    /// What DBUS_SESSION_BUS_ADDRESS is to be.
    const QByteArray& address() const { return m_address; }

private:
    SessionBus() = default;

    std::unique_ptr<ChildProcess> m_daemon;
    QByteArray m_address;
};

} // namespace Zendra::Runner
