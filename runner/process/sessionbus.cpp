#include "sessionbus.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <QFileInfo>
#include <QStandardPaths>

namespace Zendra::Runner
{

namespace
{

constexpr int startTimeout = 5000; ///< milliseconds; a start takes about ten

/// One line from a pipe; empty when it was closed, or after a timeout.
QByteArray readLine(int fileDescriptor)
{
    QByteArray line;
    while (!line.endsWith('\n')) {
        pollfd readable = {fileDescriptor, POLLIN, 0};
        char character = 0;
        if (poll(&readable, 1, startTimeout) != 1 || read(fileDescriptor, &character, 1) != 1)
            return {};
        line += character;
    }
    return line.trimmed();
}

} // namespace

std::unique_ptr<SessionBus> SessionBus::start()
{
    const QString program = QStandardPaths::findExecutable(QStringLiteral("dbus-daemon"));
    int ends[2];
    if (program.isEmpty() || pipe2(ends, O_CLOEXEC) != 0)
        return nullptr;
    const FileDescriptor reading(ends[0]);
    FileDescriptor writing(ends[1]);
    std::unique_ptr<SessionBus> bus(new SessionBus);
    const std::vector<QByteArray> words {program.toUtf8(), "--session", "--nofork", "--nopidfile",
        "--print-address=" + QByteArray::number(writing.number())};
    bus->m_daemon = std::make_unique<ChildProcess>(words, -1, writing.number());
    writing.reset();
    bus->m_address = readLine(reading.number());
    if (bus->m_address.isEmpty())
        return nullptr;
    bus->m_accessibilityBus = AccessibilityBus::start(bus->m_address);
    return bus;
}

bool SessionBus::isInEnvironment()
{
    const QString runtimeFolder = qEnvironmentVariable("XDG_RUNTIME_DIR");
    return !qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS")
        || (!runtimeFolder.isEmpty() && QFileInfo::exists(runtimeFolder + QLatin1String("/bus")));
}

} // namespace Zendra::Runner
