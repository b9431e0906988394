#include "socketfile.h"

#include <cerrno>
#include <cstring>

#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <QFile>

namespace Zendra::Agent
{

namespace
{

QString folderPath()
{
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    return runtime.isEmpty() ? QStringLiteral("/tmp/zendra-%1").arg(getuid())
                             : runtime + QStringLiteral("/zendra");
}

/// In /tmp somebody else may have been there first.
QString makeFolder(const QString& folder)
{
    const QByteArray path = QFile::encodeName(folder);
    if (mkdir(path.constData(), S_IRWXU) != 0 && errno != EEXIST) {
        return QStringLiteral("Cannot make the folder '%1': %2")
            .arg(folder, QString::fromLocal8Bit(strerror(errno)));
    }
    struct stat status {
    };
    if (lstat(path.constData(), &status) != 0 || !S_ISDIR(status.st_mode))
        return QStringLiteral("'%1' is no folder").arg(folder);
    if (status.st_uid != getuid() || (status.st_mode & (S_IRWXG | S_IRWXO)) != 0)
        return QStringLiteral("Others than its user can enter the folder '%1'").arg(folder);
    return {};
}

} // namespace

SocketFile makeSocketFile()
{
    const QString folder = folderPath();
    const QString errorText = makeFolder(folder);
    if (!errorText.isEmpty())
        return {{}, errorText};
    const QString path = QStringLiteral("%1/%2").arg(folder).arg(getpid());
    // One character more while the socket is hidden.
    if (QFile::encodeName(path).size() + 1 >= static_cast<int>(sizeof(sockaddr_un::sun_path)))
        return {{}, QStringLiteral("The path '%1' is too long for a socket").arg(path)};
    return {path, {}};
}

} // namespace Zendra::Agent
