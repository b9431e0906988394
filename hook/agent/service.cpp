#include "service.h"

#include <cerrno>
#include <cstdio>

#include <sys/stat.h>
#include <unistd.h>

#include <QFile>
#include <QFileInfo>

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
    // The socket gets the name that it is found by when nobody but its owner can open it.
    const QFileInfo place(socket.path);
    const QString hidden = place.path() + QLatin1String("/.") + place.fileName();
    unlink(QFile::encodeName(hidden).constData());
    QString errorText;
    m_server = DBus::Server::listen(hidden, errorText);
    if (m_server == nullptr)
        return QStringLiteral("Cannot listen at '%1': %2").arg(hidden, errorText);
    connect(m_server.get(), &DBus::Server::connected, this, &Service::welcome);
    chmod(QFile::encodeName(hidden).constData(), S_IRUSR | S_IWUSR);
    if (std::rename(QFile::encodeName(hidden).constData(), QFile::encodeName(socket.path).constData()) != 0) {
        const QString reason = qt_error_string(errno);
        unlink(QFile::encodeName(hidden).constData());
        return QStringLiteral("Cannot listen at '%1': %2").arg(socket.path, reason);
    }
    m_socket = socket.path;
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

void Service::welcome(std::unique_ptr<DBus::Connection>& connection)
{
    auto* client = new Client(std::move(connection), m_platform, m_queue);
    client->setParent(&m_clients);
    connect(client, &Client::left, client, &QObject::deleteLater);
}

} // namespace Zendra::Agent
