#pragma once

#include <QString>

namespace Zendra::Agent
{

/// The place of this process's socket, or the reason why there is none.
struct SocketFile {
    QString path;
    QString errorText;
};

/// Makes sure of the folder that only its owner can enter, `$XDG_RUNTIME_DIR/zendra` or else
/// `/tmp/zendra-<user id>`, and names the socket in it by the process id.
SocketFile makeSocketFile();

} // namespace Zendra::Agent
