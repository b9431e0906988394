// A plain Xlib program, to be hooked. It prints the keys that it gets, and some of them make it do something.

#include <clocale>
#include <cstdio>
#include <cstdlib>

#include <sys/wait.h>
#include <unistd.h>

#include <X11/Xlib.h>
#include <X11/Xutil.h>

namespace
{

int reportError(Display*, XErrorEvent* error)
{
    std::printf("error %d\n", error->error_code);
    return 0;
}

/// As programs do that are made by hand: a child that does not exec, but ends.
void forkChild()
{
    const pid_t child = fork();
    if (child == 0)
        std::exit(7); // NOLINT(concurrency-mt-unsafe)
    int status = 0;
    waitpid(child, &status, 0);
    std::printf("child %d\n", WEXITSTATUS(status));
}

void act(Display* display, char key)
{
    switch (key) {
    case 'q':
        std::exit(0); // NOLINT(concurrency-mt-unsafe)
    case 'c':
        std::abort();
    case 'f':
        forkChild();
        break;
    case 'e': {
        const XErrorHandler before = XSetErrorHandler(&reportError);
        XMapWindow(display, 1);
        XSync(display, False);
        XSetErrorHandler(before);
        break;
    }
    case 'l':
        std::printf("locale %s\n", std::setlocale(LC_ALL, nullptr));
        break;
    default:
        std::printf("key %c\n", key);
    }
    std::fflush(stdout);
}

} // namespace

int main()
{
    Display* display = XOpenDisplay(nullptr);
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
            std::fflush(stdout);
        } else if (event.type == KeyPress && XLookupString(&event.xkey, &key, 1, nullptr, nullptr) == 1) {
            act(display, key);
        }
    }
}
