#pragma once

#include <QByteArray>

#include "cli/failure.h"

namespace Zendra::Runner
{

/// Handles SIGINT, SIGTERM and SIGHUP, so that a command ends with no key held and no frame left on the
/// screen.
///
/// The second signal ends the process at once. So does a watchdog that needs neither the X server nor an
/// application, three seconds after the first signal or when a deadline has passed. There is one object in a
/// process.
class Interruption
{
public:
    /// `line` is written to the file descriptor `output` where the process does not end in time after a
    /// signal.
    Interruption(QByteArray line, int output);
    ~Interruption();

    bool happened() const;
    /// Readable from the first signal on.
    int fileDescriptor() const { return m_fileDescriptor; }

    /// Ends the process in `milliseconds` with `line` and `status`, unless there is a new deadline before; 0
    /// for none. After a signal the status is 1.
    void setDeadline(
        int milliseconds, const QByteArray& line = {}, ExitStatus status = ExitStatus::OperationFailed);

private:
    Q_DISABLE_COPY(Interruption)

    int m_fileDescriptor;
    QByteArray m_interruptedLine;
    QByteArray m_deadlineLine;
};

} // namespace Zendra::Runner
