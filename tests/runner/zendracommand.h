#pragma once

#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

#include "xserver.h"

namespace Zendra::Tests
{

using Words = std::vector<std::string>;

/// The result of a call of the command.
struct Outcome {
    int status = -1; ///< -1 when a signal ended it
    std::string output;
    std::string error;
};

/// A file in memory, for a child's standard input or output.
class MemoryFile
{
public:
    explicit MemoryFile(const std::string& content = {}, int seals = 0);
    ~MemoryFile();
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    int descriptor() const { return m_descriptor; }
    std::string content() const;

private:
    int m_descriptor;
};

/// An environment variable for the time of a scope; the command inherits it.
class EnvironmentVariable
{
public:
    EnvironmentVariable(const char* name, const std::string& value);
    ~EnvironmentVariable();
    EnvironmentVariable(const EnvironmentVariable&) = delete;
    EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;

private:
    const char* m_name;
    std::optional<std::string> m_previous;
};

/// One call of the command as a process of its own, killed at the end of the scope if it still runs.
class ZendraCommand
{
public:
    /// Without a server there is no DISPLAY.
    explicit ZendraCommand(
        const Words& words, const XServer* server = nullptr, const std::string& input = {});
    /// A shell script in which $zendra is the command.
    static Outcome runShell(const std::string& script, const XServer* server);
    ~ZendraCommand();
    ZendraCommand(const ZendraCommand&) = delete;
    ZendraCommand& operator=(const ZendraCommand&) = delete;

    void signal(int number) const;
    pid_t process() const { return m_process; }
    /// The processes that it started and that still run.
    std::vector<pid_t> children() const;
    /// Waits until standard output ends in a line end.
    void waitForOutput() const;
    /// Waits for the end of the process; one that takes too long fails the test.
    Outcome outcome();

private:
    struct Program {
        Words words;
    };
    ZendraCommand(const Program& program, const XServer* server, const std::string& input);

    pid_t m_process;
    MemoryFile m_input;
    MemoryFile m_output;
    MemoryFile m_error;
};

inline Outcome zendra(const Words& words)
{
    return ZendraCommand(words).outcome();
}

inline Outcome zendra(const XServer& server, const Words& words, const std::string& input = {})
{
    return ZendraCommand(words, &server, input).outcome();
}

/// The result of a bash script in which $zendra is the command.
inline Outcome shell(const std::string& script)
{
    return ZendraCommand::runShell(script, nullptr);
}

inline Outcome shell(const XServer& server, const std::string& script)
{
    return ZendraCommand::runShell(script, &server);
}

/// Expects a failure with exactly one line of standard error that contains `text`, and no output.
void expectFailure(const Outcome& outcome, int status, const std::string& text);
/// Expects success with this output, and nothing on standard error.
void expectDone(const Outcome& outcome, const std::string& output = {});

/// Whether a process exists that has not ended, not even as a zombie.
bool isRunning(pid_t process);

} // namespace Zendra::Tests
