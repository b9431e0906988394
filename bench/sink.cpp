// A window over the whole screen that takes the focus and prints each line that is typed into it, in UTF-8.

#include <array>
#include <clocale>
#include <cstdio>
#include <string>

#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/keysym.h>

namespace
{

Window openWindow(Display* display)
{
    const int screen = DefaultScreen(display);
    const Window window = XCreateSimpleWindow(display, DefaultRootWindow(display), 0, 0,
        static_cast<unsigned int>(DisplayWidth(display, screen)),
        static_cast<unsigned int>(DisplayHeight(display, screen)), 0, 0, WhitePixel(display, screen));
    XSelectInput(display, window, KeyPressMask | StructureNotifyMask);
    XMapWindow(display, window);
    XEvent event;
    do
        XNextEvent(display, &event);
    while (event.type != MapNotify);
    XSetInputFocus(display, window, RevertToParent, CurrentTime);
    XSync(display, False);
    return window;
}

void print(const std::string& line)
{
    std::puts(line.c_str());
    std::fflush(stdout);
}

} // namespace

int main()
{
    setlocale(LC_ALL, "C.UTF-8");
    Display* display = XOpenDisplay(nullptr);
    if (display == nullptr) {
        std::fputs("zendra-bench-sink: cannot open the display\n", stderr);
        return 3;
    }
    const Window window = openWindow(display);
    XIM method = XOpenIM(display, nullptr, nullptr, nullptr);
    XIC context = method == nullptr ? nullptr
                                    : XCreateIC(method, XNInputStyle, XIMPreeditNothing | XIMStatusNothing,
                                        XNClientWindow, window, nullptr);
    if (context == nullptr) {
        std::fputs("zendra-bench-sink: there is no input method\n", stderr);
        return 3;
    }
    print("ready");

    std::string line;
    XEvent event;
    while (XNextEvent(display, &event) == 0) {
        if (event.type == MappingNotify)
            XRefreshKeyboardMapping(&event.xmapping);
        if (XFilterEvent(&event, None) != False || event.type != KeyPress)
            continue;
        std::array<char, 64> characters {};
        KeySym keysym = NoSymbol;
        const int count
            = Xutf8LookupString(context, &event.xkey, characters.data(), characters.size(), &keysym, nullptr);
        if (keysym == XK_Return || keysym == XK_Linefeed) { // xdotool ends a line with the latter
            print(line);
            line.clear();
        } else {
            line.append(characters.data(), static_cast<std::size_t>(count));
        }
    }
    return 0;
}
