#include "interruption.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include "cli/failure.h"
#include "lastresort.h"

namespace Zendra::Runner
{

namespace
{

constexpr int watchedSignals[] = {SIGINT, SIGTERM, SIGHUP};

constexpr int endTimeout = 2500; ///< milliseconds after the first signal; cleaning up takes a while longer

// For the signal handlers, which have no other context.
volatile std::sig_atomic_t handlersFileDescriptor = -1;
volatile std::sig_atomic_t handlersOutput = -1;
std::atomic<const char*> handlersLine {nullptr};
std::atomic<const char*> lineAfterSignal {nullptr};
volatile std::sig_atomic_t handlersStatus = static_cast<int>(ExitStatus::OperationFailed);
timer_t watchdog {};

void startWatchdog(int milliseconds)
{
    itimerspec time {};
    time.it_value.tv_sec = milliseconds / 1000;
    time.it_value.tv_nsec = milliseconds % 1000 * 1'000'000L;
    timer_settime(watchdog, 0, &time, nullptr);
}

void noteSignal(int)
{
    const int error = errno;
    const std::uint64_t one = 1;
    const ssize_t written = write(handlersFileDescriptor, &one, sizeof one);
    Q_UNUSED(written)
    handlersLine = lineAfterSignal.load();
    handlersStatus = static_cast<int>(ExitStatus::OperationFailed);
    startWatchdog(endTimeout);
    errno = error;
}

/// The process is blocked, mostly by the X server.
[[noreturn]] void endProcess(int)
{
    const char* line = handlersLine;
    const ssize_t written = line != nullptr ? write(handlersOutput, line, std::strlen(line)) : 0;
    Q_UNUSED(written)
    cleanUpBeforeExit();
    _exit(handlersStatus);
}

bool isIgnored(int signal)
{
    struct sigaction action = {};
    return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

} // namespace

Interruption::Interruption(QByteArray line, int output)
    : m_fileDescriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
    , m_interruptedLine(std::move(line))
{
    handlersFileDescriptor = m_fileDescriptor;
    handlersOutput = fcntl(output, F_DUPFD_CLOEXEC, 0); // standard error may be captured
    lineAfterSignal = m_interruptedLine.constData();
    sigevent event {};
    event.sigev_notify = SIGEV_SIGNAL;
    event.sigev_signo = SIGALRM;
    timer_create(CLOCK_MONOTONIC, &event, &watchdog);
    struct sigaction action = {};
    action.sa_handler = endProcess;
    sigaction(SIGALRM, &action, nullptr);
    action.sa_handler = noteSignal;
    action.sa_flags = static_cast<int>(SA_RESETHAND) | SA_RESTART;
    for (const int signal : watchedSignals) {
        // As set by nohup.
        if (!isIgnored(signal))
            sigaction(signal, &action, nullptr);
    }
}

Interruption::~Interruption()
{
    for (const int signal : watchedSignals) {
        if (!isIgnored(signal))
            std::signal(signal, SIG_DFL);
    }
    handlersFileDescriptor = -1;
    close(handlersOutput);
    timer_delete(watchdog);
    std::signal(SIGALRM, SIG_DFL);
    close(m_fileDescriptor);
}

void Interruption::setDeadline(int milliseconds, const QByteArray& line, ExitStatus status)
{
    if (happened())
        return; // the watchdog has started
    startWatchdog(0);
    m_deadlineLine = line;
    handlersLine = m_deadlineLine.constData();
    handlersStatus = static_cast<int>(status);
    if (milliseconds > 0)
        startWatchdog(milliseconds);
    if (happened()) { // meanwhile
        handlersLine = lineAfterSignal.load();
        handlersStatus = static_cast<int>(ExitStatus::OperationFailed);
        startWatchdog(endTimeout);
    }
}

bool Interruption::happened() const
{
    pollfd readable = {m_fileDescriptor, POLLIN, 0};
    return poll(&readable, 1, 0) > 0;
}

} // namespace Zendra::Runner
