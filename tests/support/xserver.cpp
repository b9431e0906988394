#include "xserver.h"

#include <array>
#include <csignal>
#include <cstring>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <X11/Xlib.h>

namespace Zendra::Tests
{

namespace
{

constexpr int startTimeout = 30'000;

std::string joined(const std::vector<std::string>& words)
{
    std::string line;
    for (const std::string& word : words)
        line += (line.empty() ? "" : " ") + word;
    return line;
}

/// Starts a program that dies with the test. Its own messages are of no interest.
pid_t spawn(const std::vector<std::string>& command, int inheritedPipe = -1)
{
    std::vector<char*> arguments;
    for (const std::string& word : command)
        arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);

    const pid_t process = fork();
    if (process == 0) {
        prctl(PR_SET_PDEATHSIG, SIGTERM);
        const int nowhere = open("/dev/null", O_RDWR);
        dup2(nowhere, STDOUT_FILENO);
        dup2(nowhere, STDERR_FILENO);
        if (inheritedPipe >= 0)
            fcntl(inheritedPipe, F_SETFD, 0);
        execvp(arguments.front(), arguments.data());
        _exit(127);
    }
    return process;
}

/// The line that the server writes once it accepts connections: its display number. Empty when it never did.
std::string readyLine(int pipe)
{
    std::string line;
    pollfd readable {pipe, POLLIN, 0};
    while (line.empty() || line.back() != '\n') {
        std::array<char, 16> buffer {};
        if (poll(&readable, 1, startTimeout) <= 0)
            return {};
        const ssize_t count = read(pipe, buffer.data(), buffer.size());
        if (count <= 0)
            return {};
        line.append(buffer.data(), static_cast<std::size_t>(count));
    }
    line.pop_back();
    return line;
}

} // namespace

XServer::XServer()
    : XServer(Options {})
{
}

XServer::XServer(const Options& options)
{
    std::array<int, 2> ready {};
    if (pipe2(ready.data(), O_CLOEXEC) != 0)
        throw std::runtime_error(std::string("No pipe for the X server: ") + std::strerror(errno));

    // Without -noreset a server forgets its keyboard layout when its last client leaves.
    std::vector<std::string> command {
        "Xvfb", "-noreset", "-r", "-nolisten", "tcp", "-displayfd", std::to_string(ready[1])};
    for (std::size_t screen = 0; screen < options.screens.size(); ++screen)
        command.insert(command.end(), {"-screen", std::to_string(screen), options.screens[screen]});
    command.insert(command.end(), options.arguments.begin(), options.arguments.end());

    m_process = spawn(command, ready[1]);
    close(ready[1]);
    const std::string number = readyLine(ready[0]);
    close(ready[0]);
    if (number.empty()) {
        stop();
        throw std::runtime_error("The X server did not start (is Xvfb installed?): " + joined(command));
    }
    m_displayName = ":" + number;
    try {
        if (!options.layout.empty())
            setLayout(options.layout);
    } catch (...) {
        stop();
        throw;
    }
}

XServer::~XServer()
{
    stop();
}

void XServer::setLayout(const std::string& layout)
{
    const std::vector<std::string> command {"setxkbmap", "-display", m_displayName, "-layout", layout};
    int status = 0;
    const pid_t process = spawn(command);
    if (waitpid(process, &status, 0) != process || status != 0)
        throw std::runtime_error(
            "The keyboard layout cannot be set (is setxkbmap installed?): " + joined(command));
}

void XServer::stop()
{
    if (m_process <= 0)
        return;
    kill(m_process, SIGTERM);
    waitpid(m_process, nullptr, 0);
    m_process = -1;
}

XServer::Options withLayout(const std::string& layout)
{
    XServer::Options options;
    options.layout = layout;
    return options;
}

XServer::Options withScreens(std::vector<std::string> screens, std::vector<std::string> arguments)
{
    return {std::move(screens), std::move(arguments), {}};
}

XServer::Options withoutExtension(const std::string& extension)
{
    XServer::Options options;
    options.arguments = {"-extension", extension};
    return options;
}

Connection::Connection(const XServer& server)
    : m_display(XOpenDisplay(server.displayName().c_str()))
{
    if (m_display == nullptr)
        throw std::runtime_error("The test server refuses a connection: " + server.displayName());
}

Connection::~Connection()
{
    XCloseDisplay(m_display);
}

void Connection::sync() const
{
    XSync(m_display, False);
}

std::vector<unsigned long> Connection::windows(int screen) const
{
    Window root = None;
    Window parent = None;
    Window* children = nullptr;
    unsigned int count = 0;
    XQueryTree(m_display, RootWindow(m_display, screen), &root, &parent, &children, &count);
    std::vector<unsigned long> result(children, children + count);
    XFree(children);
    return result;
}

} // namespace Zendra::Tests
