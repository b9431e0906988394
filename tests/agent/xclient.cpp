// A plain Xlib program, to be hooked. It prints the keys that it gets; some of them make it do something.

#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include <dlfcn.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <X11/Xlib.h>
#include <X11/Xutil.h>

static int reportError(Display*, XErrorEvent* error)
{
    return std::printf("error %d\n", error->error_code);
}

static void act(Display* display, char key)
{
    int status = 0;
    if (key == 'q')
        std::exit(0); // NOLINT(concurrency-mt-unsafe)
    if (key == 'c')
        std::abort();
    if (key == 'f') { // a child that does not exec, but ends as programs do
        if (fork() == 0)
            std::exit(7); // NOLINT(concurrency-mt-unsafe)
        wait(&status);
    } else if (key == 'r') { // waits for whichever child has ended, as terminals do, while another one runs
        std::signal(SIGCHLD, [](int) { wait(nullptr); });
        if (fork() == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            pause();
        }
    } else if (key == 'e') {
        const XErrorHandler before = XSetErrorHandler(&reportError);
        XMapWindow(display, 1);
        XSync(display, False);
        XSetErrorHandler(before);
    }
    std::printf("%c %d %s\n", key, WEXITSTATUS(status), std::setlocale(LC_ALL, nullptr));
}

/// Xlib's own function, which the hook cannot take the place of.
static Display* openByDlsym()
{
    using Open = Display* (*)(const char*);
    const auto open = reinterpret_cast<Open>(dlsym(dlopen("libX11.so.6", RTLD_NOW), "XOpenDisplay"));
    timespec before {};
    timespec after {};
    clock_gettime(CLOCK_MONOTONIC, &before);
    Display* display = open(nullptr);
    clock_gettime(CLOCK_MONOTONIC, &after);
    constexpr int stall = 3; // seconds that the hook would make it wait
    return after.tv_sec - before.tv_sec < stall ? display : nullptr;
}

int main(int argc, char** /*argv*/)
{
    Display* display = argc > 1 ? openByDlsym() : XOpenDisplay(nullptr);
    if (display == nullptr)
        return 1;
    const Window window = XCreateSimpleWindow(display, DefaultRootWindow(display), 0, 0, 200, 200, 0, 0, 0);
    XSelectInput(display, window, KeyPressMask | VisibilityChangeMask);
    XMapWindow(display, window);
    while (true) {
        XEvent event;
        XNextEvent(display, &event);
        char key = 0;
        if (event.type == VisibilityNotify) {
            XSetInputFocus(display, window, RevertToNone, CurrentTime);
            XSync(display, False);
            std::printf("ready\n");
        } else if (event.type == KeyPress && XLookupString(&event.xkey, &key, 1, nullptr, nullptr) == 1) {
            act(display, key);
        }
        std::fflush(stdout);
    }
}
