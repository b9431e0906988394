#pragma once

#include <memory>

#include <QObject>
#include <QSocketNotifier>
#include <QTimer>

#include "connection.h"

namespace Zendra::DBus
{

/// Listens for connections, which only the user of this process, and root, can make.
class Server : public QObject
{
    Q_OBJECT

public:
    /// Null when nothing can listen at the path, with the reason in `errorText`. The thread needs an event
    /// loop. Nobody takes the socket away.
    static std::unique_ptr<Server> listen(const QString& path, QString& errorText);

Q_SIGNALS:
    /// Whoever takes `connection` owns it; one that nobody takes is closed.
    void connected(std::unique_ptr<Zendra::DBus::Connection>& connection);

private:
    explicit Server(FileDescriptor socket);
    Q_DISABLE_COPY(Server)

    void accept();

    FileDescriptor m_socket;
    QSocketNotifier m_notifier;
    QTimer m_pause;
};

} // namespace Zendra::DBus
