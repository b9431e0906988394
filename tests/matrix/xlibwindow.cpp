// A window that takes text from Xlib's input method and appends it to a file.

#include <clocale>
#include <cstdio>
#include <string>
#include <unistd.h>

#include <X11/Xlib.h>
#include <X11/Xutil.h>

namespace
{

std::string lookUp(XIC context, XKeyPressedEvent* event)
{
    std::string text(256, '\0');
    KeySym keysym = NoSymbol;
    Status status = XLookupNone;
    const int count
        = Xutf8LookupString(context, event, text.data(), static_cast<int>(text.size()), &keysym, &status);
    text.resize(status == XLookupChars || status == XLookupBoth ? static_cast<std::size_t>(count) : 0);
    return text;
}

} // namespace

int main(int argc, char** argv)
{
    Display* display = XOpenDisplay(nullptr);
    if (display == nullptr || argc < 2 || setlocale(LC_ALL, "") == nullptr
        || XSetLocaleModifiers("") == nullptr) {
        std::fputs("Usage: zendra-matrix-xlib FILE [DELAY]\n", stderr);
        return 1;
    }
    const unsigned int delay = argc > 2 ? static_cast<unsigned int>(std::stoul(argv[2])) : 0;
    const Window window = XCreateSimpleWindow(display, DefaultRootWindow(display), 0, 0, 300, 200, 0, 0,
        WhitePixel(display, DefaultScreen(display)));
    XIM method = XOpenIM(display, nullptr, nullptr, nullptr);
    XIC context = XCreateIC(
        method, XNInputStyle, XIMPreeditNothing | XIMStatusNothing, XNClientWindow, window, nullptr);
    XSelectInput(display, window, KeyPressMask | FocusChangeMask);
    XWMHints hints = {};
    hints.flags = InputHint;
    hints.input = True;
    XSetWMHints(display, window, &hints);
    XMapWindow(display, window);

    std::FILE* file = nullptr;
    XEvent event;
    while (XNextEvent(display, &event) == 0) {
        if (XFilterEvent(&event, None) != False)
            continue;
        if (event.type == MappingNotify) {
            XRefreshKeyboardMapping(&event.xmapping);
        } else if (event.type == FocusIn) {
            XSetICFocus(context);
            if (file == nullptr)
                file = std::fopen(argv[1], "w");
        } else if (event.type == KeyPress && file != nullptr) {
            usleep(delay * 1000);
            std::fputs(lookUp(context, &event.xkey).c_str(), file);
            std::fflush(file);
        }
    }
    return 0;
}
