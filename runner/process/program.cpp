#include "program.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QDir>
#include <QElapsedTimer>
#include <QMap>

#include <protocol/logging.h>

#include "childprocess.h"
#include "cli/failure.h"
#include "processtree.h"
#include "sessionbus.h"

namespace Zendra::Runner
{

namespace
{

constexpr int endTimeout = 2000;     ///< milliseconds for the program to end after SIGTERM
constexpr int leftOverTimeout = 100; ///< milliseconds for other processes after the program has ended

/// The processes that programs wait for themselves.
std::vector<pid_t>& startedProcesses()
{
    static std::vector<pid_t> ids;
    return ids;
}

struct Process {
    pid_t id;
    pid_t parent;
};

/// All processes of the system except zombies.
std::vector<Process> runningProcesses()
{
    std::vector<Process> processes;
    const QStringList names = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString& name : names) {
        bool isNumber = false;
        const pid_t id = name.toInt(&isNumber);
        const std::optional<ProcessState> state
            = isNumber ? readProcessState(id) : std::optional<ProcessState>();
        if (state && state->state != 'Z' && state->state != 'X')
            processes.push_back({id, static_cast<pid_t>(state->parent)});
    }
    return processes;
}

std::vector<pid_t> children(const std::vector<Process>& processes, pid_t parent)
{
    std::vector<pid_t> ids;
    for (const Process& process : processes) {
        if (process.parent == parent)
            ids.push_back(process.id);
    }
    return ids;
}

std::vector<char*> pointers(const std::vector<QByteArray>& words)
{
    std::vector<char*> list;
    list.reserve(words.size() + 1);
    for (const QByteArray& word : words)
        list.push_back(const_cast<char*>(word.constData()));
    list.push_back(nullptr);
    return list;
}

/// The environment of this process with `preload` in front of LD_PRELOAD, the addresses of `bus` if there is
/// one, and what lets toolkits use the accessibility bus.
std::vector<QByteArray> environmentWith(const QByteArray& preload, const SessionBus* bus)
{
    const QByteArray inherited = qgetenv("LD_PRELOAD");
    const QByteArray separator = preload.isEmpty() || inherited.isEmpty() ? "" : ":";
    QMap<QByteArray, QByteArray> changes {{"LD_PRELOAD", preload + separator + inherited},
        {"QT_LINUX_ACCESSIBILITY_ALWAYS_ON", "1"}, {"QT_ACCESSIBILITY", "1"}, {"NO_AT_BRIDGE", {}}};
    if (bus != nullptr) {
        changes.insert("DBUS_SESSION_BUS_ADDRESS", bus->address());
        changes.insert("AT_SPI_BUS_ADDRESS", bus->accessibilityAddress());
    }
    std::vector<QByteArray> environment;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        const QByteArray text(*variable);
        if (!changes.contains(text.left(text.indexOf('='))))
            environment.push_back(text);
    }
    for (auto change = changes.cbegin(); change != changes.cend(); ++change) {
        if (!change.value().isEmpty())
            environment.push_back(change.key() + '=' + change.value());
    }
    return environment;
}

/// Runs between fork and exec: async-signal-safe functions only. Writes errno to `report`.
[[noreturn]] void becomeProgram(char* const* words, char* const* environment, int report, pid_t parent)
{
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent)
        _exit(127);
    std::signal(SIGPIPE, SIG_DFL);
    std::signal(SIGXFSZ, SIG_DFL);
    execvpe(words[0], words, environment);
    const int error = errno;
    const ssize_t written = write(report, &error, sizeof error);
    Q_UNUSED(written)
    _exit(127);
}

} // namespace

Program::Program(const QStringList& words, const QByteArray& preload, std::unique_ptr<SessionBus> bus)
    : m_name(words.first())
    , m_bus(std::move(bus))
    , m_others(children(runningProcesses(), getpid()))
{
    // As a subreaper this process becomes the parent of orphans, which processes() finds.
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    start(words, environmentWith(preload, m_bus.get()));
}

Program::~Program()
{
    end();
}

void Program::start(const QStringList& words, const std::vector<QByteArray>& environment)
{
    std::vector<QByteArray> arguments;
    arguments.reserve(static_cast<std::size_t>(words.size()));
    for (const QString& word : words)
        arguments.push_back(word.toUtf8());
    const std::vector<char*> argumentPointers = pointers(arguments);
    const std::vector<char*> environmentPointers = pointers(environment);
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        throw Failure(ExitStatus::Unreachable, qt_error_string(errno));
    const FileDescriptor reading(ends[0]);
    FileDescriptor writing(ends[1]);

    const pid_t parent = getpid();
    m_id = fork();
    if (m_id == 0)
        becomeProgram(argumentPointers.data(), environmentPointers.data(), writing.number(), parent);
    int error = m_id < 0 ? errno : 0;
    writing.reset();
    if (m_id < 0 || read(reading.number(), &error, sizeof error) == sizeof error) {
        if (m_id > 0)
            waitpid(m_id, nullptr, 0);
        m_hasEnded = true;
        throw Failure(ExitStatus::Unreachable,
            QStringLiteral("Cannot start '%1': %2").arg(m_name, qt_error_string(error)));
    }
    m_mortal.emplace(m_id);
    startedProcesses().push_back(m_id);
    qCDebug(processLog, "Started %s as process %d", qPrintable(m_name), m_id);
}

bool Program::hasEnded()
{
    reapOrphans();
    if (!m_hasEnded && waitpid(m_id, &m_waitStatus, WNOHANG) == m_id) {
        m_hasEnded = true;
        m_mortal.reset();
        auto& started = startedProcesses();
        started.erase(std::remove(started.begin(), started.end(), m_id), started.end());
        qCDebug(processLog, "%s %s", qPrintable(m_name), qPrintable(endText()));
    }
    return m_hasEnded;
}

/// Orphans, such as the owner of each text that was put on the clipboard, would stay zombies as long as the
/// program runs.
void Program::reapOrphans()
{
    siginfo_t ended {};
    while (waitid(P_ALL, 0, &ended, WEXITED | WNOHANG | WNOWAIT) == 0 && ended.si_pid > 0) {
        const auto contains = [&ended](const std::vector<pid_t>& processes) {
            return std::find(processes.begin(), processes.end(), ended.si_pid) != processes.end();
        };
        if (contains(startedProcesses()) || contains(m_others))
            return;
        waitpid(ended.si_pid, ended.si_pid == m_application ? &m_applicationStatus : nullptr, 0);
        ended.si_pid = 0;
    }
}

int Program::exitStatus() const
{
    constexpr int endedBySignal = 128;
    return WIFSIGNALED(m_waitStatus) ? endedBySignal + WTERMSIG(m_waitStatus) : WEXITSTATUS(m_waitStatus);
}

bool Program::hasCrashed()
{
    return hasEnded() && WIFSIGNALED(m_waitStatus);
}

bool Program::hasFailed()
{
    return (hasEnded() && m_waitStatus != 0) || m_applicationStatus != 0;
}

QString Program::endText() const
{
    const int status = m_waitStatus != 0 ? m_waitStatus : m_applicationStatus;
    if (!WIFSIGNALED(status))
        return QStringLiteral("ended with status %1").arg(WEXITSTATUS(status));
    return QStringLiteral("was ended by signal %1 (%2)")
        .arg(WTERMSIG(status))
        .arg(QString::fromLocal8Bit(strsignal(WTERMSIG(status))));
}

std::vector<pid_t> Program::processes() const
{
    const std::vector<Process> all = runningProcesses();
    std::vector<pid_t> found;
    for (const pid_t id : children(all, getpid())) {
        if (std::find(m_others.begin(), m_others.end(), id) == m_others.end())
            found.push_back(id);
    }
    for (std::size_t index = 0; index < found.size(); ++index) {
        const std::vector<pid_t> next = children(all, found[index]);
        found.insert(found.end(), next.begin(), next.end());
    }
    return found;
}

void Program::end()
{
    sendAll(SIGTERM);
    sendAll(SIGCONT); // a stopped process handles the first signal only then
    waitForAll();
    if (m_bus) {
        m_bus.reset();
        // The services that it started are orphans now; the accessibility bus among them removes its socket.
        sendAll(SIGTERM);
        if (hasEnded())
            waitForAll();
    }
    if (processes().empty())
        return;
    sendAll(SIGKILL);
    waitForAll();
}

void Program::sendAll(int signal) const
{
    for (const pid_t id : processes()) {
        qCDebug(processLog, "Sending signal %d to process %d", signal, id);
        kill(id, signal);
    }
}

/// Waits only briefly for processes other than the program, such as daemons that it started.
bool Program::waitForAll()
{
    QElapsedTimer timer;
    timer.start();
    qint64 endOfProgram = -1;
    while (true) {
        const bool hasProgramEnded = hasEnded();
        const std::vector<pid_t> left = processes();
        if (hasProgramEnded && left.empty())
            return true;
        if (hasProgramEnded && endOfProgram < 0
            && std::find(left.begin(), left.end(), m_application) == left.end())
            endOfProgram = timer.elapsed();
        const bool isLate = endOfProgram >= 0 && timer.elapsed() > endOfProgram + leftOverTimeout;
        if (isLate || timer.elapsed() > endTimeout)
            return false;
        poll(nullptr, 0, 2);
    }
}

} // namespace Zendra::Runner
