#include "headlessserver.h"

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <unistd.h>

#include <QElapsedTimer>
#include <QStandardPaths>

#include <protocol/logging.h>

#include "cli/failure.h"
#include "x11/connection.h"

#include <X11/Xatom.h>
#include <X11/Xlib.h>

namespace Zendra::Runner
{

namespace
{

constexpr int startTimeout = 10'000; ///< milliseconds; a start takes about fifty

struct WindowManagerProgram {
    const char* name;
    const char* option; ///< to start without a session manager; may be null
};

/// In order of preference, those without further dependencies first. All of them support EWMH.
constexpr WindowManagerProgram windowManagers[] = {
    {"openbox", "--sm-disable"},
    {"icewm", nullptr},
    {"xfwm4", nullptr},
    {"metacity", "--sm-disable"},
    {"marco", "--sm-disable"},
};

Failure failure(const QString& text)
{
    return {ExitStatus::Unreachable, text};
}

/// The reason that the server wrote before it ended.
QString failureReason(int errorOutput)
{
    char buffer[4096];
    const ssize_t length = pread(errorOutput, buffer, sizeof buffer, 0);
    const QByteArray text(buffer, static_cast<int>(std::max<ssize_t>(0, length)));
    const QByteArray heading("Fatal server error:");
    const int start = text.indexOf(heading);
    const QByteArray reason = text.mid(start < 0 ? 0 : start + heading.size()).replace("(EE)", "");
    return QString::fromLocal8Bit(reason).simplified();
}

/// The display number that the server writes when it is ready; empty when it ended, or after a timeout.
QByteArray readDisplayNumber(int fileDescriptor)
{
    QByteArray number;
    QElapsedTimer timer;
    timer.start();
    while (!number.endsWith('\n') && timer.elapsed() < startTimeout) {
        pollfd readable = {fileDescriptor, POLLIN, 0};
        if (poll(&readable, 1, 100) <= 0)
            continue;
        char character = 0;
        if (read(fileDescriptor, &character, 1) != 1)
            return {};
        number += character;
    }
    return number.trimmed();
}

bool hasProperty(Display* display, Window window, const char* name)
{
    Atom type = None;
    int format = 0;
    unsigned long length = 0;
    unsigned long left = 0;
    unsigned char* data = nullptr;
    XGetWindowProperty(display, window, XInternAtom(display, name, False), 0, 1, False, AnyPropertyType,
        &type, &format, &length, &left, &data);
    const std::unique_ptr<unsigned char, decltype(&XFree)> owner(data, &XFree);
    return type != None;
}

/// Whether an EWMH window manager is running.
bool isManaged(const ConnectionPointer& connection)
{
    return hasProperty(connection.get(), DefaultRootWindow(connection.get()), "_NET_SUPPORTING_WM_CHECK");
}

} // namespace

HeadlessServer::HeadlessServer(const ScreenSize& size)
{
    startServer(size);
    startWindowManager();
}

void HeadlessServer::startServer(const ScreenSize& size)
{
    const QString program = QStandardPaths::findExecutable(QStringLiteral("Xvfb"));
    if (program.isEmpty())
        throw failure(QStringLiteral(
            "--headless needs the program Xvfb; on Debian and Ubuntu install the package xvfb"));

    const QByteArray screen = QByteArray::number(size.width) + 'x' + QByteArray::number(size.height) + 'x'
        + QByteArray::number(size.depth);
    QString reason;
    // Of servers that look for a free display number at the same time one can lose.
    constexpr int mostAttempts = 5;
    for (int attempt = 0; m_displayName.isEmpty() && attempt < mostAttempts; ++attempt) {
        reason = startServer(program.toUtf8(), screen);
        if (!reason.contains(QLatin1String("already running")))
            break;
    }
    if (m_displayName.isEmpty()) {
        throw failure(QStringLiteral("Xvfb does not start with a screen of %1: %2")
                          .arg(QString::fromLatin1(screen), reason));
    }
    qputenv("XAUTHORITY", m_authority.name());
    qCDebug(processLog, "Display %s has a screen of %s", m_displayName.constData(), screen.constData());
}

/// Sets the display's name, or returns why the server has not started.
QString HeadlessServer::startServer(const QByteArray& program, const QByteArray& screen)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        throw failure(qt_error_string(errno));
    const FileDescriptor reading(ends[0]);
    FileDescriptor writing(ends[1]);
    const FileDescriptor errorOutput(memfd_create("xvfb", MFD_CLOEXEC));
    // Without -noreset the keyboard layout is reset when the last client disconnects.
    const std::vector<QByteArray> words {program, "-noreset", "-nolisten", "tcp", "-auth", m_authority.name(),
        "-displayfd", QByteArray::number(writing.number()), "-screen", "0", screen};
    m_server = std::make_unique<ChildProcess>(words, errorOutput.number(), writing.number());
    writing.reset();

    const QByteArray number = readDisplayNumber(reading.number());
    if (number.isEmpty())
        return failureReason(errorOutput.number());
    m_displayName = ':' + number;
    return {};
}

void HeadlessServer::startWindowManager()
{
    for (const WindowManagerProgram& candidate : windowManagers) {
        const QString program = QStandardPaths::findExecutable(QLatin1String(candidate.name));
        if (program.isEmpty())
            continue;
        qputenv("DISPLAY", m_displayName);
        std::vector<QByteArray> words {program.toUtf8()};
        if (candidate.option != nullptr)
            words.emplace_back(candidate.option);
        m_windowManager = std::make_unique<ChildProcess>(words);

        const ConnectionPointer connection = openConnection(m_displayName);
        QElapsedTimer timer;
        timer.start();
        while (!isManaged(connection) && !m_windowManager->hasEnded() && timer.elapsed() < startTimeout)
            poll(nullptr, 0, 2);
        return;
    }
}

void HeadlessServer::awaitWindowManager() const
{
    if (!m_windowManager)
        return;
    constexpr int attempts = 500; // not every window manager answers
    const ConnectionPointer connection = openConnection(m_displayName);
    Display* display = connection.get();
    const Window root = DefaultRootWindow(display);
    const Window window = XCreateSimpleWindow(display, root, 0, 0, 1, 1, 0, 0, 0);
    XEvent request {};
    request.xclient.type = ClientMessage;
    request.xclient.window = window;
    request.xclient.message_type = XInternAtom(display, "_NET_REQUEST_FRAME_EXTENTS", False);
    request.xclient.format = 32;
    for (int attempt = 0; attempt < attempts && !hasProperty(display, window, "_NET_FRAME_EXTENTS");
         ++attempt) {
        // Repeated: openbox reads events while it starts, and handles them when the next one comes.
        XSendEvent(display, root, False, SubstructureRedirectMask | SubstructureNotifyMask, &request);
        XFlush(display);
        poll(nullptr, 0, 1);
    }
}

} // namespace Zendra::Runner
