#pragma once

#include <memory>

#include <QObject>
#include <QString>

#include "platform.h"
#include "queue.h"

class QDBusConnection;
class QDBusServer;

namespace Zendra::Agent
{

/// Serves org.zendra.Hook1 on a socket of this process's own. The thread that makes it runs an event loop.
class Service : public QObject
{
    Q_OBJECT

public:
    Service(Variant variant, const QByteArray& displayName);
    ~Service() override;

    /// Begins to listen; returns an error text.
    QString start();
    /// Ends all connections and takes the socket away.
    void close();

private Q_SLOTS:
    void welcome(const QDBusConnection& connection);

private:
    Q_DISABLE_COPY(Service)

    Platform m_platform;
    Queue m_queue;
    QObject m_clients; ///< their parent
    std::unique_ptr<QDBusServer> m_server;
    QString m_socket;
};

} // namespace Zendra::Agent
