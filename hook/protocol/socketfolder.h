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

/// Creates the folder unless it is there. Returns an error text when it cannot be used.
QString createSocketFolder();

/// Why an unsafe folder is not used, and what to do.
QString unsafeFolderText();

} // namespace Zendra::Protocol
