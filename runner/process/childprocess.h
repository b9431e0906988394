#pragma once

#include <optional>
#include <vector>

#include <sys/types.h>

#include <QByteArray>

#include "lastresort.h"

namespace Zendra::Runner
{

/// A file descriptor that is closed at the end of its scope.
class FileDescriptor
{
public:
    explicit FileDescriptor(int number = -1)
        : m_number(number)
    {
    }
    ~FileDescriptor() { reset(); }

    int number() const { return m_number; }
    void reset();

private:
    Q_DISABLE_COPY(FileDescriptor)

    int m_number;
};

/// A program that ends with this process at the latest, even when this one is killed.
/// It has its own session, so Ctrl+C in the terminal does not reach it. Its standard input and output are
/// /dev/null.
class ChildProcess
{
public:
    /// `words` begins with the program's path. `errorOutput` becomes its standard error, unless it is -1;
    /// `inherited` stays open in it under the same number, unless it is -1.
    explicit ChildProcess(const std::vector<QByteArray>& words, int errorOutput = -1, int inherited = -1);
    ~ChildProcess();

    bool hasEnded();

private:
    Q_DISABLE_COPY(ChildProcess)

    bool waitFor(int milliseconds);

    pid_t m_id = -1; ///< -1 when it has ended
    std::optional<MortalProcess> m_mortal;
};

} // namespace Zendra::Runner
