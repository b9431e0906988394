#include "programstart.h"

#include <algorithm>

#include <poll.h>

#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>

#include <module.h>

#include "cli/arguments.h"
#include "cli/failure.h"
#include "process/program.h"
#include "process/sessionbus.h"
#include "remote/applications.h"
#include "session/session.h"
#include "x11/connection.h"
#include "x11/rootproperty.h"

namespace Zendra::Runner
{

namespace
{

constexpr int startTimeout = 10'000; ///< milliseconds
constexpr int replyTimeout = 1000;   ///< milliseconds before another attempt
constexpr int pollInterval = 10;     ///< milliseconds

/// Whether one of the processes has a library of this name loaded.
bool haveLoaded(const std::vector<pid_t>& processes, const char* library)
{
    return std::any_of(processes.begin(), processes.end(), [library](pid_t process) {
        QFile maps(QStringLiteral("/proc/%1/maps").arg(process));
        return maps.open(QIODevice::ReadOnly) && maps.readAll().contains(library);
    });
}

/// The accessibility bus starts its registry for the first program that asks for it, and leaves it to this
/// process.
bool isRegistry(pid_t process)
{
    QFile file(QStringLiteral("/proc/%1/comm").arg(process));
    return file.open(QIODevice::ReadOnly) && file.readAll().startsWith("at-spi2-reg");
}

QString whyNotReached(const std::vector<pid_t>& processes)
{
    if (haveLoaded(processes, "libzendraagent"))
        return QStringLiteral("it is an X client, but does not answer");
    if (!haveLoaded(processes, "libzendrapreload")) {
        return QStringLiteral(
            "it did not load the hook; programs that are linked statically or run as another user cannot");
    }
    return QStringLiteral("it has not become an X client");
}

} // namespace

QByteArray preloadLibrary()
{
    const QString fileName = moduleRoot() + QStringLiteral("/preload/libzendrapreload.so");
    if (!QFileInfo(fileName).isFile()) {
        throw Failure(ExitStatus::Unreachable,
            QStringLiteral("The hook is missing: there is no file '%1'").arg(fileName));
    }
    if (fileName.contains(QLatin1Char(' ')) || fileName.contains(QLatin1Char(':'))) {
        throw Failure(ExitStatus::Unreachable,
            QStringLiteral("Programs cannot load '%1': its path contains a space or a colon").arg(fileName));
    }
    return QFile::encodeName(fileName);
}

std::unique_ptr<RemotePlatform> reachProgram(Session& session, Program& program)
{
    QElapsedTimer timer;
    timer.start();
    const auto timeout = std::max(startTimeout, static_cast<int>(1000 * timeoutFromEnvironment(0.0)));
    while (timer.elapsed() < timeout) {
        session.requireNotInterrupted();
        const bool hasEnded = program.hasEnded();
        const std::vector<qint64> listening = listeningProcesses();
        // Reading all of /proc is slow.
        const std::vector<pid_t> processes
            = hasEnded || !listening.empty() ? program.processes() : std::vector<pid_t>();
        for (const qint64 process : listening) {
            if (std::find(processes.begin(), processes.end(), process) == processes.end())
                continue;
            if (std::unique_ptr<RemotePlatform> platform
                = tryApplication(process, replyTimeout, session.interruptionFileDescriptor()))
                return platform;
        }
        if (hasEnded && std::all_of(processes.begin(), processes.end(), &isRegistry)) {
            throw Failure(ExitStatus::Unreachable,
                QStringLiteral("'%1' %2 before it could be reached").arg(program.name(), program.endText()));
        }
        pollfd interrupted = {session.interruptionFileDescriptor(), POLLIN, 0};
        poll(&interrupted, 1, pollInterval);
    }
    throw Failure(ExitStatus::Unreachable,
        QStringLiteral("'%1' could not be reached within %2 seconds: %3")
            .arg(program.name())
            .arg(timeout / 1000)
            .arg(whyNotReached(program.processes())));
}

std::unique_ptr<SessionBus> openSessionBus(const Session& session)
{
    if (session.isHeadless() || !SessionBus::isInEnvironment())
        return SessionBus::start();
    startDesktopAccessibilityBus();
    return nullptr;
}

void publishAccessibilityBus(const Session& session, const SessionBus& bus)
{
    const QByteArray address = bus.accessibilityAddress();
    if (!address.isEmpty())
        writeRootProperty(openConnection(session.displayName()).get(), "AT_SPI_BUS", address);
}

} // namespace Zendra::Runner
