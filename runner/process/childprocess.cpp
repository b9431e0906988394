#include "childprocess.h"

#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <protocol/logging.h>

#include "cli/failure.h"

namespace Zendra::Runner
{

namespace
{

constexpr int endTimeout = 2000; ///< milliseconds to end after SIGTERM

/// Runs between fork and exec: async-signal-safe functions only.
[[noreturn]] void becomeProgram(char* const* words, int errorOutput, int inherited, pid_t parent)
{
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent)
        _exit(127);
    setsid();
    std::signal(SIGPIPE, SIG_DFL);
    std::signal(SIGXFSZ, SIG_DFL);
    const int nowhere = open("/dev/null", O_RDWR);
    dup2(nowhere, STDIN_FILENO);
    dup2(nowhere, STDOUT_FILENO);
    dup2(errorOutput >= 0 ? errorOutput : nowhere, STDERR_FILENO);
    if (inherited >= 0)
        fcntl(inherited, F_SETFD, 0);
    execv(words[0], words);
    _exit(127);
}

} // namespace

void FileDescriptor::reset()
{
    if (m_number >= 0)
        close(m_number);
    m_number = -1;
}

ChildProcess::ChildProcess(const std::vector<QByteArray>& words, int errorOutput, int inherited)
{
    std::vector<char*> pointers;
    pointers.reserve(words.size() + 1);
    for (const QByteArray& word : words)
        pointers.push_back(const_cast<char*>(word.constData()));
    pointers.push_back(nullptr);

    const pid_t parent = getpid();
    m_id = fork();
    if (m_id == 0)
        becomeProgram(pointers.data(), errorOutput, inherited, parent);
    if (m_id < 0) {
        throw Failure(ExitStatus::Unreachable,
            QStringLiteral("Cannot start %1: %2")
                .arg(QString::fromUtf8(words.front()), qt_error_string(errno)));
    }
    m_mortal.emplace(m_id);
    qCDebug(processLog, "Started %s as process %d", words.front().constData(), m_id);
}

ChildProcess::~ChildProcess()
{
    if (hasEnded())
        return;
    qCDebug(processLog, "Ending process %d", m_id);
    kill(m_id, SIGTERM);
    kill(m_id, SIGCONT); // a stopped process handles the first signal only then
    if (waitFor(endTimeout))
        return;
    qCDebug(processLog, "Process %d did not end on SIGTERM; killing it", m_id);
    kill(m_id, SIGKILL);
    waitpid(m_id, nullptr, 0);
}

bool ChildProcess::hasEnded()
{
    if (m_id > 0 && waitpid(m_id, nullptr, WNOHANG) != 0) {
        m_mortal.reset();
        m_id = -1;
    }
    return m_id < 0;
}

bool ChildProcess::waitFor(int milliseconds)
{
    for (int waited = 0; !hasEnded(); ++waited) {
        if (waited >= milliseconds)
            return false;
        poll(nullptr, 0, 1);
    }
    return true;
}

} // namespace Zendra::Runner
