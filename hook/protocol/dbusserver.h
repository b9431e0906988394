#pragma once

#include <memory>

#include <QObject>
#include <QTimer>

#include "dbusconnection.h"
#include "dbuswatches.h"

namespace Zendra::DBus
{

/// A DBusServer that only the user of this process, and root, can connect to.
class Server : public QObject
{
    Q_OBJECT

public:
    /// Null when the path cannot be listened at. Needs an event loop in this thread. The socket stays when
    /// the server is destroyed.
    static std::unique_ptr<Server> listen(const QString& path, QString& errorText);

Q_SIGNALS:
    /// A receiver takes ownership of `connection`, or it is closed.
    void connected(std::unique_ptr<Zendra::DBus::Connection>& connection);

private:
    struct Disconnect {
        void operator()(DBusServer* server) const;
    };

    explicit Server(DBusServer* server);
    Q_DISABLE_COPY(Server)

    static void accept(DBusServer* server, DBusConnection* connection, void* self);
    void pauseUnlessAccepted();

    Watches m_watches;
    const std::unique_ptr<DBusServer, Disconnect> m_server;
    QTimer m_pause;
    bool m_hasAccepted = false;
};

} // namespace Zendra::DBus
