#pragma once

#include <memory>

#include <QObject>
#include <QString>

#include <protocol/dbusserver.h>

#include "platform.h"
#include "queue.h"

namespace Zendra::Agent
{

/// Serves org.zendra.Hook1 on a socket of this process. Needs an event loop in its thread.
class Service : public QObject
{
    Q_OBJECT

public:
    Service(Variant variant, const QByteArray& displayName);
    ~Service() override;

    /// Starts to listen; returns an error text.
    QString start();
    /// Closes all connections and removes the socket.
    void close();

private:
    Q_DISABLE_COPY(Service)

    void addClient(std::unique_ptr<DBus::Connection>& connection);

    Platform m_platform;
    Queue m_queue;
    QObject m_clients; ///< their parent
    std::unique_ptr<DBus::Server> m_server;
    QString m_socket;
};

} // namespace Zendra::Agent
