#include "applications.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <module.h>

#include "cli/failure.h"
#include "process/childprocess.h"

namespace Zendra::Runner
{

namespace
{

constexpr int connectPatience = 5000; ///< milliseconds
constexpr int listPatience = 1000;    ///< milliseconds, while the list for an error text is made
constexpr int oldSocket = 10;         ///< seconds; in a younger one nobody may listen yet

Failure unreachable(const QString& text)
{
    return {ExitStatus::Unreachable, text};
}

template <typename Function>
Function remoteModuleFunction(const char* name)
{
    const ModuleFunction found = loadModuleFunction(QStringLiteral("module"), QStringLiteral("zendraremote"),
        moduleRoot() + QStringLiteral("/modules/zendraremote.so"), name);
    if (!found.errorText.isEmpty())
        throw unreachable(found.errorText);
    return reinterpret_cast<Function>(found.function);
}

QString socketFolder()
{
    const QString runtimeFolder = qEnvironmentVariable("XDG_RUNTIME_DIR");
    return runtimeFolder.isEmpty() ? QStringLiteral("/tmp/zendra-%1").arg(getuid())
                                   : runtimeFolder + QLatin1String("/zendra");
}

/// False when there is none; throws where somebody else could have put sockets into it.
bool hasSocketFolder()
{
    struct stat status = {};
    const QString folder = socketFolder();
    if (lstat(QFile::encodeName(folder).constData(), &status) != 0)
        return false;
    const bool isOurs = S_ISDIR(status.st_mode) && status.st_uid == getuid() && (status.st_mode & 077) == 0;
    if (!isOurs) {
        throw unreachable(QStringLiteral(
            "The folder '%1' is not one that only its owner can enter; no application is reached "
            "through it")
                              .arg(folder));
    }
    return true;
}

QString socketName(qint64 processId)
{
    return QStringLiteral("%1/%2").arg(socketFolder()).arg(processId);
}

/// The address as D-Bus writes it, with most characters escaped.
QString addressOf(qint64 processId)
{
    QString address = QStringLiteral("unix:path=");
    const QByteArray path = QFile::encodeName(socketName(processId));
    for (const char byte : path) {
        const bool isPlain
            = std::isalnum(static_cast<unsigned char>(byte)) != 0 || std::strchr("-_/.", byte) != nullptr;
        address += isPlain
            ? QString(QLatin1Char(byte))
            : QStringLiteral("%%1").arg(static_cast<unsigned char>(byte), 2, 16, QLatin1Char('0'));
    }
    return address;
}

enum class Listener { Ready, Busy, None };

/// Whether anybody takes connections, found out without waiting for one who is stopped.
Listener listenerAt(const QString& name)
{
    sockaddr_un address {};
    address.sun_family = AF_UNIX;
    const QByteArray path = QFile::encodeName(name);
    if (path.size() >= static_cast<int>(sizeof address.sun_path))
        return Listener::None;
    std::memcpy(address.sun_path, path.constData(), static_cast<std::size_t>(path.size()));
    const FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (connect(socket.number(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
        return Listener::Ready;
    return errno == ECONNREFUSED || errno == ENOENT ? Listener::None : Listener::Busy;
}

struct Socket {
    qint64 processId;
    Listener listener;
};

bool isAlive(qint64 processId)
{
    return kill(static_cast<pid_t>(processId), 0) == 0 || errno == EPERM;
}

/// Whether a socket that nobody listens at can have no owner any more.
bool isStale(const QFileInfo& file, qint64 processId)
{
    return !isAlive(processId) || file.lastModified().secsTo(QDateTime::currentDateTime()) > oldSocket;
}

/// The sockets that somebody listens at, ordered by process id.
std::vector<Socket> findSockets()
{
    std::vector<Socket> sockets;
    if (!hasSocketFolder())
        return sockets;
    const QFileInfoList files = QDir(socketFolder()).entryInfoList(QDir::System | QDir::NoDotAndDotDot);
    for (const QFileInfo& file : files) {
        bool isNumber = false;
        const qint64 processId = file.fileName().toInt(&isNumber);
        if (!isNumber || processId <= 0)
            continue;
        const Listener listener = listenerAt(file.filePath());
        if (listener != Listener::None)
            sockets.push_back({processId, listener});
        else if (isStale(file, processId))
            QFile::remove(file.filePath());
    }
    std::sort(sockets.begin(), sockets.end(),
        [](const Socket& left, const Socket& right) { return left.processId < right.processId; });
    return sockets;
}

/// What the system calls a process that says nothing itself.
QString processName(qint64 processId)
{
    QFile file(QStringLiteral("/proc/%1/comm").arg(processId));
    return file.open(QIODevice::ReadOnly) ? QString::fromLocal8Bit(file.readAll()).trimmed() : QString();
}

RemotePlatformResult tryAddress(const QString& address, int patience, int interruption)
{
    return remoteModuleFunction<ConnectRemote>("zendraConnectRemote")(address, patience, interruption);
}

/// For an error text: what else could be meant.
QString alternatives()
{
    QStringList names;
    for (const ApplicationInfo& application : findApplications(listPatience)) {
        if (!application.variant.isEmpty())
            names.append(QStringLiteral("%1 (%2)").arg(application.name).arg(application.processId));
    }
    return names.isEmpty() ? QStringLiteral("no application can be reached; 'zendra run' starts one that can")
                           : QStringLiteral("what can be reached: ") + names.join(QLatin1String(", "));
}

/// Why a process cannot be reached, whatever it is.
QString refusal(qint64 processId)
{
    if (!isAlive(processId))
        return QStringLiteral("There is no process %1").arg(processId);
    return QStringLiteral("The process %1 (%2) has no hook inside")
        .arg(processId)
        .arg(processName(processId));
}

QString notAnswering(qint64 processId)
{
    return QStringLiteral("Application '%1' (%2) does not answer").arg(processName(processId)).arg(processId);
}

} // namespace

std::unique_ptr<RemotePlatform> connectToApplication(const QString& idOrAddress, int interruption)
{
    bool isId = false;
    const qint64 processId = idOrAddress.toInt(&isId);
    QString address = idOrAddress;
    if (isId) {
        const Listener listener = hasSocketFolder() ? listenerAt(socketName(processId)) : Listener::None;
        if (listener == Listener::None)
            throw unreachable(refusal(processId) + QLatin1String("; ") + alternatives());
        if (listener == Listener::Busy)
            throw unreachable(notAnswering(processId));
        address = addressOf(processId);
    }
    const RemotePlatformResult result = tryAddress(address, connectPatience, interruption);
    if (result.platform == nullptr && isId)
        throw unreachable(notAnswering(processId));
    if (result.platform == nullptr)
        throw unreachable(result.errorText + QLatin1String("; ") + alternatives());
    return std::unique_ptr<RemotePlatform>(result.platform);
}

std::unique_ptr<RemotePlatform> tryApplication(qint64 processId, int patience, int interruption)
{
    return std::unique_ptr<RemotePlatform>(tryAddress(addressOf(processId), patience, interruption).platform);
}

std::vector<ApplicationInfo> findApplications(int patience)
{
    const std::vector<Socket> sockets = findSockets();
    QStringList addresses;
    for (const Socket& socket : sockets) {
        if (socket.listener == Listener::Ready)
            addresses.append(addressOf(socket.processId));
    }
    std::vector<ApplicationInfo> answers;
    if (!addresses.isEmpty())
        answers = remoteModuleFunction<AskRemotes>("zendraAskRemotes")(addresses, patience);

    std::vector<ApplicationInfo> applications;
    auto answer = answers.begin();
    for (const Socket& socket : sockets) {
        ApplicationInfo application;
        if (socket.listener == Listener::Ready)
            application = *answer++;
        application.processId = socket.processId;
        if (application.variant.isEmpty())
            application.name = processName(socket.processId);
        applications.push_back(application);
    }
    return applications;
}

std::vector<qint64> listeningProcesses()
{
    std::vector<qint64> processes;
    for (const Socket& socket : findSockets()) {
        if (socket.listener == Listener::Ready)
            processes.push_back(socket.processId);
    }
    return processes;
}

} // namespace Zendra::Runner
