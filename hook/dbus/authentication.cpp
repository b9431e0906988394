#include "authentication.h"

#include <sys/socket.h>
#include <unistd.h>

#include <QUuid>

#include "wire.h"

namespace Zendra::DBus
{

namespace
{

constexpr int longestLine = 4096;
constexpr int mostRejections = 5;

/// Identifies the server; it stays the same for its life.
QByteArray serverId()
{
    static const QByteArray id = QUuid::createUuid().toByteArray(QUuid::Id128);
    return id;
}

} // namespace

QByteArray Authentication::take(QByteArray& input)
{
    QByteArray answers;
    int end = 0;
    while (!m_isDone && (end = input.indexOf("\r\n")) >= 0) {
        answers += takeLine(input.left(end));
        input.remove(0, end + 2);
    }
    if (!m_isDone && input.size() > longestLine)
        throw Malformed("a line of the greeting is too long");
    return answers;
}

QByteArray ClientAuthentication::greeting()
{
    QByteArray bytes(1, '\0');
    bytes += "AUTH EXTERNAL " + QByteArray::number(geteuid()).toHex() + "\r\n";
    return bytes + "NEGOTIATE_UNIX_FD\r\nBEGIN\r\n";
}

QByteArray ClientAuthentication::takeLine(const QByteArray& line)
{
    if (!m_isAccepted) {
        if (!line.startsWith("OK"))
            throw Malformed("the other side does not let this user in");
        m_isAccepted = true;
        return {};
    }
    m_passesFileDescriptors = line == "AGREE_UNIX_FD";
    m_isDone = true;
    return {};
}

ServerAuthentication::ServerAuthentication(int socket)
    : m_socket(socket)
{
}

QByteArray ServerAuthentication::takeLine(const QByteArray& line)
{
    QByteArray command = line;
    if (m_isFirst) {
        if (!command.startsWith('\0'))
            throw Malformed("the greeting does not begin with a null character");
        command.remove(0, 1);
        m_isFirst = false;
    }
    if (command == "AUTH EXTERNAL")
        return "DATA\r\n"; // asks for the identity, which may be left out
    for (const char* prefix : {"AUTH EXTERNAL ", "DATA"}) {
        if (command.startsWith(prefix))
            return authorize(QByteArray::fromHex(command.mid(static_cast<int>(qstrlen(prefix)))));
    }
    if (command.startsWith("AUTH") || command.startsWith("CANCEL") || command.startsWith("ERROR"))
        return reject();
    if (command == "BEGIN" && m_isAccepted) {
        m_isDone = true;
        return {};
    }
    if (command == "BEGIN")
        throw Malformed("messages are begun by somebody unknown");
    if (command == "NEGOTIATE_UNIX_FD" && m_isAccepted) {
        m_passesFileDescriptors = true;
        return "AGREE_UNIX_FD\r\n";
    }
    return "ERROR\r\n";
}

/// `identity` is a user id, or nothing for whoever the system says that it is.
QByteArray ServerAuthentication::authorize(const QByteArray& identity)
{
    ucred peer {};
    socklen_t size = sizeof peer;
    if (m_isAccepted || getsockopt(m_socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0)
        return reject();
    const bool isWelcome = peer.uid == geteuid() || peer.uid == 0;
    if (!isWelcome || (!identity.isEmpty() && identity != QByteArray::number(peer.uid)))
        return reject();
    m_isAccepted = true;
    return "OK " + serverId() + "\r\n";
}

QByteArray ServerAuthentication::reject()
{
    m_isAccepted = false;
    if (++m_rejections > mostRejections)
        throw Malformed("the other side cannot say who it is");
    return "REJECTED EXTERNAL\r\n";
}

} // namespace Zendra::DBus
