#pragma once

#include <csignal>

#include <QtGlobal>

namespace Zendra::DBus
{

/// Restores the process's SIGPIPE action, which libdbus changes with each new connection. The switch for
/// that, dbus_connection_set_change_sigpipe(), is global: it would change the connections of the program
/// around us, too. libdbus itself does not need it, since it writes with MSG_NOSIGNAL.
class SigpipeGuard
{
public:
    SigpipeGuard() { sigaction(SIGPIPE, nullptr, &m_before); }
    ~SigpipeGuard() { sigaction(SIGPIPE, &m_before, nullptr); }

private:
    Q_DISABLE_COPY(SigpipeGuard)

    struct sigaction m_before = {};
};

} // namespace Zendra::DBus
