#include "server.h"

#include <cerrno>
#include <utility>

#include <sys/socket.h>

#include "authentication.h"
#include "unixsocket.h"

namespace Zendra::DBus
{

std::unique_ptr<Server> Server::listen(const QString& path, QString& errorText)
{
    FileDescriptor socket = listenAt(path, errorText);
    return std::unique_ptr<Server>(socket.isValid() ? new Server(std::move(socket)) : nullptr);
}

Server::Server(FileDescriptor socket)
    : m_socket(std::move(socket))
    , m_notifier(m_socket.number(), QSocketNotifier::Read)
{
    constexpr int pause = 1000; // milliseconds
    m_pause.setSingleShot(true);
    m_pause.setInterval(pause);
    connect(&m_pause, &QTimer::timeout, this, [this] { m_notifier.setEnabled(true); });
    connect(&m_notifier, &QSocketNotifier::activated, this, &Server::accept);
}

void Server::accept()
{
    FileDescriptor socket(accept4(m_socket.number(), nullptr, nullptr, SOCK_CLOEXEC));
    if (!socket.isValid()) {
        if (errno == EAGAIN || errno == EINTR || errno == ECONNABORTED)
            return;
        // Where the process has too many files the next try would be at once, and so on for ever.
        m_notifier.setEnabled(false);
        m_pause.start();
        return;
    }
    auto greeting = std::make_unique<ServerAuthentication>(socket.number());
    auto connection = std::make_unique<Connection>(std::move(socket), std::move(greeting));
    Q_EMIT connected(connection);
}

} // namespace Zendra::DBus
