#include "applications.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <protocol/dbusconnection.h>
#include <protocol/socketfolder.h>

#include "cli/failure.h"
#include "peer.h"
#include "process/childprocess.h"

namespace Zendra::Runner
{

namespace
{

constexpr int connectTimeout = 5000; ///< milliseconds
constexpr int listTimeout = 1000;    ///< milliseconds, for the list in an error text

Failure unreachable(const QString& text)
{
    return {ExitStatus::Unreachable, text};
}

/// Throws where other users could have put sockets into the folder.
bool hasSocketFolder()
{
    const Protocol::FolderState state = Protocol::socketFolderState();
    if (state == Protocol::FolderState::Unsafe)
        throw unreachable(Protocol::unsafeFolderText());
    return state == Protocol::FolderState::Private;
}

QString addressOf(qint64 processId)
{
    return DBus::toAddress(Protocol::socketPath(processId));
}

enum class Listener { Ready, Busy, None };

/// Whether connections are accepted, without waiting for a stopped process.
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

/// The listening sockets, ordered by process id. Removes stale ones: a socket is renamed to its process id
/// only when it listens.
std::vector<Socket> findSockets()
{
    std::vector<Socket> sockets;
    if (!hasSocketFolder())
        return sockets;
    const QFileInfoList files
        = QDir(Protocol::socketFolder()).entryInfoList(QDir::System | QDir::NoDotAndDotDot);
    for (const QFileInfo& file : files) {
        bool isNumber = false;
        const qint64 processId = file.fileName().toInt(&isNumber);
        if (!isNumber || processId <= 0)
            continue;
        const Listener listener = listenerAt(file.filePath());
        if (listener != Listener::None)
            sockets.push_back({processId, listener});
        else
            QFile::remove(file.filePath());
    }
    std::sort(sockets.begin(), sockets.end(),
        [](const Socket& left, const Socket& right) { return left.processId < right.processId; });
    return sockets;
}

/// The process's name in /proc.
QString processName(qint64 processId)
{
    QFile file(QStringLiteral("/proc/%1/comm").arg(processId));
    return file.open(QIODevice::ReadOnly) ? QString::fromLocal8Bit(file.readAll()).trimmed() : QString();
}

struct PendingRequest {
    std::unique_ptr<DBus::Connection> connection; ///< null where none could be made
    unsigned int serial = 0;
};

using PendingRequests = std::vector<PendingRequest>;

PendingRequests sendRequests(const QStringList& addresses)
{
    PendingRequests requests;
    for (const QString& address : addresses) {
        QString errorText;
        PendingRequest request {DBus::Connection::open(address, errorText)};
        if (request.connection != nullptr)
            request.serial = request.connection->sendWithReply(propertiesCall());
        requests.push_back(std::move(request));
    }
    return requests;
}

/// Without a variant where no reply comes within `timeout` milliseconds for all.
std::vector<ApplicationInfo> collectReplies(const PendingRequests& requests, int timeout)
{
    QDeadlineTimer deadline(timeout);
    std::vector<ApplicationInfo> replies;
    for (const PendingRequest& request : requests) {
        ApplicationInfo info;
        if (request.connection != nullptr) {
            const auto left = static_cast<int>(deadline.remainingTime());
            info = toApplicationInfo(request.connection->waitForReply(request.serial, left));
        }
        replies.push_back(info);
    }
    return replies;
}

/// For an error text: the applications that can be reached.
QString alternatives()
{
    QStringList names;
    for (const ApplicationInfo& application : findApplications(listTimeout)) {
        if (!application.variant.isEmpty())
            names.append(QStringLiteral("%1 (%2)").arg(application.name).arg(application.processId));
    }
    return names.isEmpty() ? QStringLiteral("no application can be reached; 'zendra run' starts one")
                           : QStringLiteral("what can be reached: ") + names.join(QLatin1String(", "));
}

/// Why a process cannot be reached.
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
        const Listener listener
            = hasSocketFolder() ? listenerAt(Protocol::socketPath(processId)) : Listener::None;
        if (listener == Listener::None)
            throw unreachable(refusal(processId) + QLatin1String("; ") + alternatives());
        if (listener == Listener::Busy)
            throw unreachable(notAnswering(processId));
        address = addressOf(processId);
    }
    if (!isId && listenerAt(DBus::toPath(address)) == Listener::Busy)
        throw unreachable(QStringLiteral("The process that listens at '%1' does not answer").arg(address));
    QString errorText;
    std::unique_ptr<Peer> peer = Peer::connectTo(address, connectTimeout, interruption, errorText);
    if (peer == nullptr && isId)
        throw unreachable(notAnswering(processId));
    if (peer == nullptr)
        throw unreachable(errorText + QLatin1String("; ") + alternatives());
    return std::make_unique<RemotePlatform>(std::move(peer));
}

std::unique_ptr<RemotePlatform> tryApplication(qint64 processId, int timeout, int interruption)
{
    QString errorText;
    std::unique_ptr<Peer> peer = Peer::connectTo(addressOf(processId), timeout, interruption, errorText);
    return peer != nullptr ? std::make_unique<RemotePlatform>(std::move(peer)) : nullptr;
}

std::vector<ApplicationInfo> findApplications(int timeout)
{
    const std::vector<Socket> sockets = findSockets();
    QStringList addresses;
    for (const Socket& socket : sockets) {
        if (socket.listener == Listener::Ready)
            addresses.append(addressOf(socket.processId));
    }
    const std::vector<ApplicationInfo> replies = collectReplies(sendRequests(addresses), timeout);

    std::vector<ApplicationInfo> applications;
    auto reply = replies.begin();
    for (const Socket& socket : sockets) {
        ApplicationInfo application;
        if (socket.listener == Listener::Ready)
            application = *reply++;
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
