#include "socketfolder.h"

#include <cerrno>

#include <sys/stat.h>
#include <unistd.h>

#include <QFile>

namespace Zendra::Protocol
{

QString socketFolder()
{
    const QString runtimeFolder = qEnvironmentVariable("XDG_RUNTIME_DIR");
    return runtimeFolder.isEmpty() ? QStringLiteral("/tmp/zendra-%1").arg(getuid())
                                   : runtimeFolder + QLatin1String("/zendra");
}

QString socketPath(qint64 processId)
{
    return QStringLiteral("%1/%2").arg(socketFolder()).arg(processId);
}

FolderState socketFolderState()
{
    // lstat: in /tmp another user may have placed a link.
    struct stat status = {};
    if (lstat(QFile::encodeName(socketFolder()).constData(), &status) != 0)
        return errno == ENOENT ? FolderState::Missing : FolderState::Unsafe;
    const bool isPrivate
        = S_ISDIR(status.st_mode) && status.st_uid == getuid() && (status.st_mode & (S_IRWXG | S_IRWXO)) == 0;
    return isPrivate ? FolderState::Private : FolderState::Unsafe;
}

QString createSocketFolder()
{
    const QString folder = socketFolder();
    if (mkdir(QFile::encodeName(folder).constData(), S_IRWXU) != 0 && errno != EEXIST) {
        return QStringLiteral(
            "Cannot create the folder '%1': %2; set XDG_RUNTIME_DIR to a folder of your own")
            .arg(folder, qt_error_string(errno));
    }
    return socketFolderState() == FolderState::Private ? QString() : unsafeFolderText();
}

QString unsafeFolderText()
{
    return QStringLiteral(
        "'%1' is not a folder that only its owner can enter; set XDG_RUNTIME_DIR to a folder of your own")
        .arg(socketFolder());
}

} // namespace Zendra::Protocol
