#include "textwindow.h"

#include <array>
#include <clocale>
#include <csignal>
#include <cstdlib>

#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <X11/Xlib.h>
#include <X11/Xutil.h>

namespace Zendra::Tests
{

namespace
{

constexpr int textTimeout = 10'000;

[[noreturn]] void receive(const std::string& displayName, int output, unsigned int delay)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    setlocale(LC_ALL, "C.UTF-8");
    Display* display = XOpenDisplay(displayName.c_str());
    const Window window = XCreateSimpleWindow(display, DefaultRootWindow(display), 0, 0, 400, 300, 0, 0, 0);
    XSelectInput(display, window, KeyPressMask | KeyReleaseMask | StructureNotifyMask | FocusChangeMask);
    XMapWindow(display, window);
    XIM method = XOpenIM(display, nullptr, nullptr, nullptr);
    XIC context = XCreateIC(
        method, XNInputStyle, XIMPreeditNothing | XIMStatusNothing, XNClientWindow, window, nullptr);
    XEvent event;
    while (XNextEvent(display, &event) == 0) {
        std::array<char, 64> text {};
        int size = 0;
        if (event.type == MapNotify)
            XSetInputFocus(display, window, RevertToParent, CurrentTime);
        else if (event.type == MappingNotify)
            XRefreshKeyboardMapping(&event.xmapping);
        else if (event.type == FocusIn)
            size = 1; // ready: a zero byte
        else if (XFilterEvent(&event, None) == False && event.type == KeyPress && usleep(delay * 1000) == 0)
            size = Xutf8LookupString(context, &event.xkey, text.data(), text.size(), nullptr, nullptr);
        if (write(output, text.data(), static_cast<std::size_t>(size)) < 0)
            break;
    }
    _exit(0);
}

} // namespace

TextWindow::TextWindow(const XServer& server, unsigned int delay)
{
    std::array<int, 2> ends {};
    if (pipe(ends.data()) != 0)
        std::abort();
    m_process = fork();
    if (m_process == 0)
        receive(server.displayName(), ends[1], delay);
    close(ends[1]);
    m_output = ends[0];
    take(1);
}

TextWindow::~TextWindow()
{
    kill(m_process, SIGKILL);
    waitpid(m_process, nullptr, 0);
    close(m_output);
}

std::string TextWindow::take(std::size_t bytes)
{
    std::string text;
    pollfd readable {m_output, POLLIN, 0};
    while (poll(&readable, 1, text.size() < bytes ? textTimeout : 0) > 0) {
        std::array<char, 4096> part {};
        const ssize_t size = read(m_output, part.data(), part.size());
        if (size <= 0)
            break;
        text.append(part.data(), static_cast<std::size_t>(size));
    }
    return text;
}

} // namespace Zendra::Tests
