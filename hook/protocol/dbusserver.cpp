#include "dbusserver.h"

#include <utility>

#include <unistd.h>

namespace Zendra::DBus
{

namespace
{

dbus_bool_t isAllowed(DBusConnection* /*connection*/, unsigned long user, void* /*data*/)
{
    return user == geteuid() || user == 0 ? 1 : 0;
}

} // namespace

void Server::Disconnect::operator()(DBusServer* server) const
{
    dbus_server_set_watch_functions(server, nullptr, nullptr, nullptr, nullptr, nullptr);
    dbus_server_disconnect(server);
    dbus_server_unref(server);
}

std::unique_ptr<Server> Server::listen(const QString& path, QString& errorText)
{
    // The program may use libdbus in other threads.
    dbus_threads_init_default();
    DBusError error;
    dbus_error_init(&error);
    DBusServer* server = dbus_server_listen(toAddress(path).toUtf8().constData(), &error);
    errorText = QString::fromUtf8(error.message);
    dbus_error_free(&error);
    return std::unique_ptr<Server>(server != nullptr ? new Server(server) : nullptr);
}

Server::Server(DBusServer* server)
    : m_watches({[this] { pauseUnlessAccepted(); }, {}})
    , m_server(server)
{
    constexpr int pause = 1000; // milliseconds
    m_pause.setSingleShot(true);
    m_pause.setInterval(pause);
    connect(&m_pause, &QTimer::timeout, this, [this] { m_watches.setEnabled(true); });
    const char* mechanisms[] = {"EXTERNAL", nullptr};
    dbus_server_set_auth_mechanisms(server, mechanisms);
    dbus_server_set_new_connection_function(server, &accept, this, nullptr);
    m_watches.attach(server);
}

void Server::accept(DBusServer* /*server*/, DBusConnection* connection, void* self)
{
    auto& server = *static_cast<Server*>(self);
    server.m_hasAccepted = true;
    auto accepted = std::make_unique<Connection>(dbus_connection_ref(connection));
    dbus_connection_set_unix_user_function(connection, &isAllowed, nullptr, nullptr);
    accepted->applyBackPressure();
    Q_EMIT server.connected(accepted);
}

/// Without free file descriptors accept() fails and the socket stays readable: pauses instead of spinning.
void Server::pauseUnlessAccepted()
{
    if (std::exchange(m_hasAccepted, false))
        return;
    m_watches.setEnabled(false);
    m_pause.start();
}

} // namespace Zendra::DBus
