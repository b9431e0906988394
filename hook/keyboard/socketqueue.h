#pragma once

#include <optional>

namespace Zendra::Keyboard
{

/// How many bytes a process has not read from the X server's local sockets yet, and the server from it. None
/// if the kernel does not report it, or there is no such socket.
std::optional<unsigned int> unreadBytes(int processId);

} // namespace Zendra::Keyboard
