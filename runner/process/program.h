#pragma once

#include <memory>
#include <optional>
#include <vector>

#include <sys/types.h>

#include <QByteArray>
#include <QStringList>

#include "lastresort.h"

namespace Zendra::Runner
{

class SessionBus;

/// A program on the standard streams of this process, with all the processes that come from it.
///
/// They end with the object at the latest. Of several programs the one that was started last must end first:
/// its processes count as those of the earlier ones, too.
class Program
{
public:
    /// `preload` is put in front of LD_PRELOAD, unless it is empty. `bus` is the program's own; null for that
    /// of the environment. Throws a Failure of status Unreachable.
    Program(const QStringList& words, const QByteArray& preload, std::unique_ptr<SessionBus> bus);
    ~Program();

    const QString& name() const { return m_name; }
    /// Whether the process that was started has ended.
    bool hasEnded();
    /// The exit status as a shell has it. Valid when it has ended.
    int exitStatus() const;
    /// Whether a signal has ended it.
    bool hasCrashed();
    /// Whether it, or the application where that is another process, has ended with another status than 0.
    bool hasFailed();
    /// How it ended, or the application that has failed, as the end of a sentence.
    QString endText() const;
    /// Its running processes, including those whose parents have ended.
    std::vector<pid_t> processes() const;
    /// The process to wait for at the end, beside the one that was started.
    void setApplication(pid_t application) { m_application = application; }
    /// Sends SIGTERM to all of them, and SIGKILL to those that do not end.
    void end();

private:
    Q_DISABLE_COPY(Program)

    void start(const QStringList& words, const std::vector<QByteArray>& environment);
    void reapOrphans();
    bool waitForAll();
    void sendAll(int signal) const;

    const QString m_name;
    std::unique_ptr<SessionBus> m_bus;
    const std::vector<pid_t> m_others; ///< children that this process had before
    pid_t m_id = -1;
    std::optional<MortalProcess> m_mortal;
    pid_t m_application = -1;
    bool m_hasEnded = false;
    int m_waitStatus = 0;
    int m_applicationStatus = 0; ///< wait status, if it was an orphan
};

} // namespace Zendra::Runner
