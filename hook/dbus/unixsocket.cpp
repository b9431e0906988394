#include "unixsocket.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <QFile>
#include <QStringList>

namespace Zendra::DBus
{

namespace
{

constexpr std::size_t mostPieces = 16;      ///< that are sent at once
constexpr std::size_t mostDescriptors = 16; ///< that one piece brings

QString lastError()
{
    return qt_error_string(errno);
}

/// "%2d" is a hyphen.
QByteArray unescape(const QByteArray& text)
{
    return QByteArray::fromPercentEncoding(text);
}

/// The name of a socket as the system has it: one in the abstract name space begins with a null character.
QByteArray socketName(const QString& address)
{
    const QByteArray transport = QByteArrayLiteral("unix:");
    const QByteArray bytes = address.toLocal8Bit();
    if (!bytes.startsWith(transport))
        return {};
    for (const QByteArray& pair : bytes.mid(transport.size()).split(',')) {
        if (pair.startsWith("path="))
            return unescape(pair.mid(5));
        if (pair.startsWith("abstract="))
            return '\0' + unescape(pair.mid(9));
    }
    return {};
}

/// A function of the system's that takes the address of a socket.
template <typename Function>
int withAddress(Function function, int socket, const QByteArray& name)
{
    sockaddr_un address {};
    address.sun_family = AF_UNIX;
    if (name.size() >= static_cast<int>(sizeof address.sun_path)) {
        errno = ENAMETOOLONG;
        return -1;
    }
    std::memcpy(address.sun_path, name.constData(), static_cast<std::size_t>(name.size()));
    const bool isAbstract = name.startsWith('\0');
    const std::size_t length
        = offsetof(sockaddr_un, sun_path) + static_cast<std::size_t>(name.size()) + (isAbstract ? 0 : 1);
    return function(socket, reinterpret_cast<const sockaddr*>(&address), static_cast<socklen_t>(length));
}

FileDescriptor newSocket()
{
    return FileDescriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
}

/// Room for the descriptors that go with a message.
union Control {
    char bytes[CMSG_SPACE(mostDescriptors * sizeof(int))];
    cmsghdr aligned;
};

void takeDescriptors(msghdr& message, std::vector<FileDescriptor>& descriptors)
{
    for (cmsghdr* header = CMSG_FIRSTHDR(&message); header != nullptr;
         header = CMSG_NXTHDR(&message, header)) {
        if (header->cmsg_level != SOL_SOCKET || header->cmsg_type != SCM_RIGHTS)
            continue;
        const std::size_t count = (header->cmsg_len - CMSG_LEN(0)) / sizeof(int);
        for (std::size_t index = 0; index < count; ++index) {
            int number = -1;
            std::memcpy(&number, CMSG_DATA(header) + index * sizeof number, sizeof number);
            descriptors.emplace_back(number);
        }
    }
}

void putDescriptors(msghdr& message, Control& control, const std::vector<FileDescriptor>& descriptors)
{
    const std::size_t size = descriptors.size() * sizeof(int);
    message.msg_control = control.bytes;
    message.msg_controllen = CMSG_SPACE(size);
    cmsghdr* header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(size);
    for (std::size_t index = 0; index < descriptors.size(); ++index) {
        const int number = descriptors[index].number();
        std::memcpy(CMSG_DATA(header) + index * sizeof number, &number, sizeof number);
    }
}

} // namespace

FileDescriptor connectTo(const QString& address, QString& errorText)
{
    const QByteArray name = socketName(address);
    if (name.isEmpty()) {
        errorText = QStringLiteral("this is no address such as unix:path=/run/x");
        return {};
    }
    FileDescriptor socket = newSocket();
    if (!socket.isValid() || withAddress(&::connect, socket.number(), name) != 0) {
        errorText = lastError();
        return {};
    }
    fcntl(socket.number(), F_SETFL, 0);
    return socket;
}

FileDescriptor listenAt(const QString& path, QString& errorText)
{
    constexpr int backlog = 30;
    FileDescriptor socket = newSocket();
    if (!socket.isValid() || withAddress(&::bind, socket.number(), QFile::encodeName(path)) != 0
        || listen(socket.number(), backlog) != 0) {
        errorText = lastError();
        return {};
    }
    return socket;
}

Transfer receive(int socket, int flags, int most, QByteArray& bytes, std::vector<FileDescriptor>& descriptors)
{
    const int before = bytes.size();
    bytes.resize(before + most);
    iovec place {bytes.data() + before, static_cast<std::size_t>(most)};
    Control control {};
    msghdr message {};
    message.msg_iov = &place;
    message.msg_iovlen = 1;
    message.msg_control = control.bytes;
    message.msg_controllen = sizeof control.bytes;
    const ssize_t count = recvmsg(socket, &message, flags | MSG_CMSG_CLOEXEC);
    const int error = errno;
    bytes.resize(before + static_cast<int>(std::max<ssize_t>(count, 0)));
    if (count < 0)
        return error == EAGAIN || error == EINTR ? Transfer::Blocked : Transfer::Ended;
    takeDescriptors(message, descriptors);
    return count == 0 ? Transfer::Ended : Transfer::Done;
}

Transfer sendFrom(std::deque<Outgoing>& queue, int socket, qint64& sent)
{
    std::array<iovec, mostPieces> pieces {};
    msghdr message {};
    message.msg_iov = pieces.data();
    Control control {};
    for (Outgoing& outgoing : queue) {
        // Descriptors go with the first byte of what is sent at once.
        const bool brings = !outgoing.descriptors.empty() && outgoing.written == 0;
        if (message.msg_iovlen == mostPieces || (brings && message.msg_iovlen > 0))
            break;
        if (brings)
            putDescriptors(message, control, outgoing.descriptors);
        pieces[message.msg_iovlen++] = {const_cast<char*>(outgoing.bytes.constData()) + outgoing.written,
            static_cast<std::size_t>(outgoing.bytes.size() - outgoing.written)};
    }
    ssize_t count = sendmsg(socket, &message, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (count < 0)
        return errno == EAGAIN || errno == EINTR ? Transfer::Blocked : Transfer::Ended;
    sent += count;
    while (count > 0) {
        Outgoing& first = queue.front();
        const auto gone = static_cast<int>(std::min<ssize_t>(count, first.bytes.size() - first.written));
        first.written += gone;
        count -= gone;
        if (first.written == first.bytes.size())
            queue.pop_front();
    }
    return Transfer::Done;
}

} // namespace Zendra::DBus
