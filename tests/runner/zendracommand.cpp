#include "zendracommand.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <thread>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Zendra::Tests
{

namespace
{

/// Asks until the answer is yes; false when that takes too long.
template <typename Condition>
bool poll(Condition condition)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

Words joined(Words words, const Words& more)
{
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

[[noreturn]] void becomeProgram(const Words& words, const XServer* server, int input, int output, int error)
{
    dup2(input, STDIN_FILENO);
    dup2(output, STDOUT_FILENO);
    dup2(error, STDERR_FILENO);
    if (server != nullptr)
        setenv("DISPLAY", server->displayName().c_str(), 1);
    else
        unsetenv("DISPLAY");
    std::vector<char*> pointers;
    for (const std::string& word : words)
        pointers.push_back(const_cast<char*>(word.c_str()));
    pointers.push_back(nullptr);
    execvp(pointers.front(), pointers.data());
    _exit(127);
}

} // namespace

MemoryFile::MemoryFile(const std::string& content, int seals)
    : m_descriptor(memfd_create("test", MFD_CLOEXEC | MFD_ALLOW_SEALING))
{
    const ssize_t written = pwrite(m_descriptor, content.data(), content.size(), 0);
    EXPECT_EQ(written, static_cast<ssize_t>(content.size()));
    EXPECT_EQ(fcntl(m_descriptor, F_ADD_SEALS, seals), 0);
}

MemoryFile::~MemoryFile()
{
    close(m_descriptor);
}

std::string MemoryFile::content() const
{
    struct stat status {
    };
    fstat(m_descriptor, &status);
    std::string content(static_cast<std::size_t>(status.st_size), '\0');
    const ssize_t length = pread(m_descriptor, content.data(), content.size(), 0);
    content.resize(static_cast<std::size_t>(std::max<ssize_t>(0, length)));
    return content;
}

EnvironmentVariable::EnvironmentVariable(const char* name, const std::string& value)
    : m_name(name)
{
    if (const char* previous = std::getenv(name))
        m_previous = previous;
    setenv(name, value.c_str(), 1);
}

EnvironmentVariable::~EnvironmentVariable()
{
    if (m_previous)
        setenv(m_name, m_previous->c_str(), 1);
    else
        unsetenv(m_name);
}

ZendraCommand::ZendraCommand(const Words& words, const XServer* server, const std::string& input)
    : ZendraCommand(Program {joined({ZENDRA_COMMAND}, words)}, server, input)
{
}

Outcome ZendraCommand::runShell(const std::string& script, const XServer* server)
{
    const EnvironmentVariable command("zendra", ZENDRA_COMMAND);
    return ZendraCommand(Program {{"bash", "-c", script}}, server, {}).outcome();
}

ZendraCommand::ZendraCommand(const Program& program, const XServer* server, const std::string& input)
    : m_process(-1)
    , m_input(input)
{
    m_process = fork();
    if (m_process == 0)
        becomeProgram(
            program.words, server, m_input.descriptor(), m_output.descriptor(), m_error.descriptor());
}

ZendraCommand::~ZendraCommand()
{
    if (m_process > 0) {
        kill(m_process, SIGKILL);
        waitpid(m_process, nullptr, 0);
    }
}

void ZendraCommand::signal(int number) const
{
    kill(m_process, number);
}

std::vector<pid_t> ZendraCommand::children() const
{
    const std::string id = std::to_string(m_process);
    std::ifstream list("/proc/" + id + "/task/" + id + "/children");
    std::vector<pid_t> children;
    for (pid_t child = 0; list >> child;)
        children.push_back(child);
    return children;
}

void ZendraCommand::waitForOutput() const
{
    const auto hasLine = [this] {
        const std::string output = m_output.content();
        return !output.empty() && output.back() == '\n';
    };
    ASSERT_TRUE(poll(hasLine)) << "The command writes nothing";
}

Outcome ZendraCommand::outcome()
{
    int status = 0;
    const bool hasEnded = poll([&] { return waitpid(m_process, &status, WNOHANG) == m_process; });
    EXPECT_TRUE(hasEnded) << "The command does not end";
    if (hasEnded)
        m_process = -1;
    return {hasEnded && WIFEXITED(status) ? WEXITSTATUS(status) : -1, m_output.content(), m_error.content()};
}

void expectFailure(const Outcome& outcome, int status, const std::string& text)
{
    EXPECT_EQ(outcome.status, status);
    EXPECT_THAT(outcome.error, testing::StartsWith("zendra: "));
    EXPECT_THAT(outcome.error, testing::HasSubstr(text));
    EXPECT_EQ(outcome.error.find('\n'), outcome.error.size() - 1) << outcome.error;
    EXPECT_EQ(outcome.output, "");
}

void expectDone(const Outcome& outcome, const std::string& output)
{
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output, output);
    EXPECT_EQ(outcome.error, "");
}

bool isRunning(pid_t process)
{
    std::ifstream file("/proc/" + std::to_string(process) + "/stat");
    std::stringstream content;
    content << file.rdbuf();
    const std::string stat = content.str();
    const std::size_t nameEnd = stat.rfind(')');
    return nameEnd != std::string::npos && stat.at(nameEnd + 2) != 'Z';
}

} // namespace Zendra::Tests
