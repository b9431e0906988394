#include "service.h"

#include <sys/stat.h>
#include <unistd.h>

#include <QDBusConnection>
#include <QDBusError>
#include <QDBusServer>
#include <QFile>

#include "client.h"
#include "socketfile.h"

namespace Zendra::Agent
{

Service::Service(Variant variant, const QByteArray& displayName)
    : m_platform(variant, displayName)
{
}

Service::~Service()
{
    close();
}

QString Service::start()
{
    const SocketFile socket = makeSocketFile();
    if (!socket.errorText.isEmpty())
        return socket.errorText;
    // Without anonymous authentication, which is off unless asked for, D-Bus lets in its own user and root.
    m_server = std::make_unique<QDBusServer>(socketAddress(socket.path));
    if (!m_server->isConnected())
        return QStringLiteral("Cannot listen at '%1': %2").arg(socket.path, m_server->lastError().message());
    m_socket = socket.path;
    chmod(QFile::encodeName(m_socket).constData(), S_IRUSR | S_IWUSR);
    connect(m_server.get(), &QDBusServer::newConnection, this, &Service::welcome);
    return {};
}

void Service::close()
{
    qDeleteAll(m_clients.children());
    m_server.reset();
    if (!m_socket.isEmpty())
        unlink(QFile::encodeName(m_socket).constData());
    m_socket.clear();
}

void Service::welcome(const QDBusConnection& connection)
{
    auto* client = new Client(connection, m_platform, m_queue);
    client->setParent(&m_clients);
    connect(client, &Client::left, client, &QObject::deleteLater);
}

} // namespace Zendra::Agent
