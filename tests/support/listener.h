#pragma once

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/un.h>

#include <QString>

#include <protocol/unixfd.h>

namespace Zendra::Tests
{

/// A socket that a process listens at without accepting connections; `backlog` + 1 of them are queued.
inline DBus::UnixFd listenAt(const QString& path, int backlog)
{
    DBus::UnixFd listener(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address {};
    address.sun_family = AF_UNIX;
    qstrncpy(address.sun_path, qPrintable(path), sizeof address.sun_path);
    EXPECT_EQ(bind(listener.number(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(listen(listener.number(), backlog), 0);
    return listener;
}

} // namespace Zendra::Tests
