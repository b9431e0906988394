#pragma once

#include <deque>
#include <vector>

#include <QByteArray>
#include <QString>

#include "filedescriptor.h"

namespace Zendra::DBus
{

// Unix sockets that bytes and file descriptors go through.

/// Connects to a D-Bus address such as "unix:path=/run/x"; an invalid descriptor with the reason in
/// `errorText` when that fails. Does not wait for one who does not accept.
FileDescriptor connectTo(const QString& address, QString& errorText);
/// Listens at a path that must be free.
FileDescriptor listenAt(const QString& path, QString& errorText);

enum class Transfer {
    Done,    ///< at least in part
    Blocked, ///< there is nothing, or no room, for now
    Ended    ///< the other side is gone
};

/// Appends what has come, `most` bytes at the most; `flags` are those of recvmsg.
Transfer receive(
    int socket, int flags, int most, QByteArray& bytes, std::vector<FileDescriptor>& descriptors);

/// Bytes on their way out, and the descriptors that go with the first of them.
struct Outgoing {
    QByteArray bytes;
    std::vector<FileDescriptor> descriptors;
    int written = 0;
};

/// Sends what is at the beginning of a queue that is not empty, and takes out what has gone; counts it in
/// `sent`.
Transfer sendFrom(std::deque<Outgoing>& queue, int socket, qint64& sent);

} // namespace Zendra::DBus
