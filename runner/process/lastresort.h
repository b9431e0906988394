#pragma once

#include <sys/types.h>

#include <QByteArray>

namespace Zendra::Runner
{

/// A child process that must not outlive this process, even where no destructor runs.
class MortalProcess
{
public:
    explicit MortalProcess(pid_t id);
    ~MortalProcess();

private:
    Q_DISABLE_COPY(MortalProcess)

    const int m_slot;
};

/// A file, or a folder that is empty by then, that must not outlive this process, even where no destructor
/// runs. The last one is removed first.
class MortalFile
{
public:
    explicit MortalFile(const QByteArray& name);
    ~MortalFile();

private:
    Q_DISABLE_COPY(MortalFile)

    const QByteArray m_name;
    const int m_slot;
};

/// Ends those processes and removes those files, within half a second. Async-signal-safe.
void cleanUpBeforeExit();

} // namespace Zendra::Runner
