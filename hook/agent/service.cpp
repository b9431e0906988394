#include "service.h"

#include <cerrno>
#include <cstdio>

#include <sys/stat.h>
#include <unistd.h>

#include <QFile>

#include <protocol/logging.h>
#include <protocol/socketfolder.h>

#include "client.h"

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
    QString errorText = Protocol::createSocketFolder();
    if (!errorText.isEmpty())
        return errorText;
    // The socket appears under its name when it is served, and only its owner can open it.
    const QString path = Protocol::socketPath(getpid());
    const QString hidden = QStringLiteral("%1/.%2").arg(Protocol::socketFolder()).arg(getpid());
    m_server = DBus::Server::listen(hidden, errorText);
    if (m_server == nullptr)
        return QStringLiteral("Cannot listen at '%1': %2").arg(hidden, errorText);
    connect(m_server.get(), &DBus::Server::connected, this, &Service::addClient);
    chmod(QFile::encodeName(hidden).constData(), S_IRUSR | S_IWUSR);
    if (std::rename(QFile::encodeName(hidden).constData(), QFile::encodeName(path).constData()) != 0) {
        const QString reason = qt_error_string(errno);
        unlink(QFile::encodeName(hidden).constData());
        return QStringLiteral("Cannot listen at '%1': %2").arg(path, reason);
    }
    m_socket = path;
    qCDebug(agentLog, "Listening at %s", qPrintable(path));
    return {};
}

void Service::close()
{
    qDeleteAll(m_clients.children());
    m_queue.clear();
    m_server.reset();
    if (!m_socket.isEmpty())
        unlink(QFile::encodeName(m_socket).constData());
    m_socket.clear();
}

void Service::addClient(std::unique_ptr<DBus::Connection>& connection)
{
    auto* client = new Client(std::move(connection), m_platform, m_queue);
    client->setParent(&m_clients);
    qCDebug(agentLog, "A client has connected");
    connect(client, &Client::disconnected, client, &QObject::deleteLater);
}

} // namespace Zendra::Agent
