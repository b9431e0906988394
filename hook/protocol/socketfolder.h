#pragma once

#include <QString>

namespace Zendra::Protocol
{

/// `$XDG_RUNTIME_DIR/zendra`, or `/tmp/zendra-<user id>` without that variable.
QString socketFolder();

/// The socket of a process.
QString socketPath(qint64 processId);

enum class FolderState {
    Missing,
    Private, ///< a folder of this user's that nobody else can enter
    Unsafe
};

FolderState socketFolderState();

} // namespace Zendra::Protocol
