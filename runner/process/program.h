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
/// They end with the object at the latest. There is one at a time.
class Program
{
public:
    /// `preload` is put in front of the libraries that the environment has it load. `ownBus` gives it a D-Bus
    /// session bus of its own, where that can be had. Throws a Failure of status Unreachable.
    Program(const QStringList& words, const QByteArray& preload, bool ownBus);
    ~Program();

    const QString& name() const { return m_name; }
    /// Whether the process that was started has ended.
    bool hasEnded();
    /// What a shell would call its exit status; once it has ended.
    int exitStatus() const;
    /// Whether it, or the application where that is another process, has ended with another status than 0.
    bool hasFailed();
    /// How it ended, or the application that has failed, as the end of a sentence.
    QString endText() const;
    /// The processes that run, also those whose parent has ended.
    std::vector<pid_t> processes() const;
    /// The process that is waited for at the end, beside the one that was started.
    void setApplication(pid_t application) { m_application = application; }
    /// Sends SIGTERM to all of them, and SIGKILL to those that stay.
    void end();

private:
    Q_DISABLE_COPY(Program)

    void start(const QStringList& words, const std::vector<QByteArray>& environment);
    void reapOrphans();
    bool waitForAll();
    void sendAll(int signal) const;

    const QString m_name;
    std::unique_ptr<SessionBus> m_bus;
    const std::vector<pid_t> m_others; ///< children of this process that were there before
    pid_t m_id = -1;
    std::optional<MortalProcess> m_mortal;
    pid_t m_application = -1;
    bool m_hasEnded = false;
    int m_waitStatus = 0;
    int m_applicationStatus = 0; ///< where it was an orphan
};

} // namespace Zendra::Runner
