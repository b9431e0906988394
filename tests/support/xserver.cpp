#include "xserver.h"

#include <csignal>
#include <stdexcept>
#include <utility>

#include <sys/prctl.h>

#include <X11/Xlib.h>
#include <X11/Xutil.h>

namespace Zendra::Tests
{

namespace
{

constexpr int startTimeout = 30'000;

} // namespace

XServer::XServer()
    : XServer(Options {})
{
}

XServer::XServer(const Options& options)
{
    // Without -noreset a server forgets its keyboard layout when its last client leaves.
    QString command = QStringLiteral("exec Xvfb -noreset -r -nolisten tcp -displayfd 3");
    for (std::size_t screen = 0; screen < options.screens.size(); ++screen) {
        command += QStringLiteral(" -screen %1 %2")
                       .arg(screen)
                       .arg(QString::fromStdString(options.screens[screen]));
    }
    for (const std::string& argument : options.arguments)
        command += QLatin1Char(' ') + QString::fromStdString(argument);

    // The server writes its display number once it accepts connections.
    m_process.setStandardErrorFile(QProcess::nullDevice());
    m_process.start(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), command + QStringLiteral(" 3>&1 >&2")});
    while (!m_process.canReadLine() && m_process.waitForReadyRead(startTimeout)) { }
    if (!m_process.canReadLine())
        throw std::runtime_error("The X server did not start (is Xvfb installed?): " + command.toStdString());
    m_displayName = ':' + m_process.readLine().trimmed().toStdString();
    if (!options.layout.empty())
        setLayout(options.layout);
}

XServer::~XServer()
{
    m_process.terminate();
    m_process.waitForFinished();
}

void XServer::Process::setupChildProcess()
{
    prctl(PR_SET_PDEATHSIG, SIGTERM);
}

void XServer::setLayout(const std::string& layout)
{
    const QStringList arguments {QStringLiteral("-display"), QString::fromStdString(m_displayName),
        QStringLiteral("-layout"), QString::fromStdString(layout)};
    if (QProcess::execute(QStringLiteral("setxkbmap"), arguments) != 0)
        throw std::runtime_error("The keyboard layout cannot be set (is setxkbmap installed?): " + layout);
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

void Connection::fill(unsigned long colour, int x, int y, unsigned int width, unsigned int height) const
{
    XSetForeground(m_display, DefaultGC(m_display, 0), colour);
    XFillRectangle(m_display, DefaultRootWindow(m_display), DefaultGC(m_display, 0), x, y, width, height);
    sync();
}

bool Connection::isPainted() const
{
    constexpr unsigned int size = 200;
    XImage* image = XGetImage(m_display, DefaultRootWindow(m_display), 0, 0, size, size, AllPlanes, ZPixmap);
    const std::string pixels(image->data, static_cast<std::size_t>(image->bytes_per_line) * size);
    XDestroyImage(image);
    return pixels.substr(4) != pixels.substr(0, pixels.size() - 4);
}

int Connection::visibleWindows() const
{
    XGrabServer(m_display); // no window is destroyed between the requests
    int visible = 0;
    for (const Window window : windows()) {
        XWindowAttributes attributes;
        XGetWindowAttributes(m_display, window, &attributes);
        visible += attributes.map_state == IsViewable ? 1 : 0;
    }
    XUngrabServer(m_display);
    sync();
    return visible;
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
