#include "interruption.h"

#include <csignal>
#include <cstdint>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace Zendra::Runner
{

namespace
{

constexpr int watchedSignals[] = {SIGINT, SIGTERM, SIGHUP};

/// A signal handler has nowhere else to look.
volatile std::sig_atomic_t handlersFileDescriptor = -1;

void noteSignal(int)
{
    const std::uint64_t one = 1;
    const ssize_t written = write(handlersFileDescriptor, &one, sizeof one);
    Q_UNUSED(written)
}

bool isIgnored(int signal)
{
    struct sigaction action = {};
    return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

} // namespace

Interruption::Interruption()
    : m_fileDescriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    handlersFileDescriptor = m_fileDescriptor;
    struct sigaction action = {};
    action.sa_handler = noteSignal;
    action.sa_flags = static_cast<int>(SA_RESETHAND) | SA_RESTART;
    for (const int signal : watchedSignals) {
        // A parent such as nohup has its reasons.
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
    close(m_fileDescriptor);
}

bool Interruption::happened() const
{
    pollfd readable = {m_fileDescriptor, POLLIN, 0};
    return poll(&readable, 1, 0) > 0;
}

} // namespace Zendra::Runner
