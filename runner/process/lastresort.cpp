#include "lastresort.h"

#include <array>
#include <atomic>
#include <csignal>

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Zendra::Runner
{

namespace
{

/// Of fixed size for the signal handler, and more than a command ever needs.
constexpr int slotCount = 16;
std::array<std::atomic<pid_t>, slotCount> processes {};
std::array<std::atomic<const char*>, slotCount> files {};

template <typename Slots, typename Value>
int occupy(Slots& slots, Value value)
{
    for (int slot = 0; slot < slotCount; ++slot) {
        Value empty {};
        if (slots.at(static_cast<std::size_t>(slot)).compare_exchange_strong(empty, value))
            return slot;
    }
    return -1;
}

template <typename Slots>
void vacate(Slots& slots, int slot)
{
    if (slot >= 0)
        slots.at(static_cast<std::size_t>(slot)) = {};
}

void removeFile(const char* name)
{
    if (unlink(name) != 0)
        rmdir(name);
}

bool haveEnded()
{
    bool all = true;
    for (std::atomic<pid_t>& process : processes) {
        if (process > 0 && waitpid(process, nullptr, WNOHANG) == 0)
            all = false;
    }
    return all;
}

void sendAll(int signal)
{
    for (std::atomic<pid_t>& process : processes) {
        if (process > 0 && waitpid(process, nullptr, WNOHANG) == 0)
            kill(process, signal);
    }
}

} // namespace

MortalProcess::MortalProcess(pid_t id)
    : m_slot(occupy(processes, id))
{
}

MortalProcess::~MortalProcess()
{
    vacate(processes, m_slot);
}

MortalFile::MortalFile(const QByteArray& name)
    : m_name(name)
    , m_slot(occupy(files, m_name.constData()))
{
}

MortalFile::~MortalFile()
{
    removeFile(m_name.constData());
    vacate(files, m_slot);
}

void cleanUpBeforeExit()
{
    for (auto file = files.rbegin(); file != files.rend(); ++file) {
        if (*file != nullptr)
            removeFile(*file);
    }
    sendAll(SIGTERM);
    sendAll(SIGCONT); // a stopped process handles the first signal only then
    constexpr int attempts = 40;
    for (int attempt = 0; attempt < attempts && !haveEnded(); ++attempt)
        poll(nullptr, 0, 10);
    sendAll(SIGKILL);
}

} // namespace Zendra::Runner
