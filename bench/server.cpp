#include "server.h"

#include <cstdio>
#include <cstdlib>
#include <string>

#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>

namespace Bench
{

void CloseDisplay::operator()(_XDisplay* display) const
{
    XCloseDisplay(display);
}

DisplayPointer openDisplay()
{
    DisplayPointer display(XOpenDisplay(nullptr));
    if (display == nullptr) {
        std::fputs("zendra-bench: cannot open a display; DISPLAY names the server to measure on\n", stderr);
        std::exit(3);
    }
    return display;
}

void roundTrip(_XDisplay* display)
{
    int eventBase = 0;
    int errorBase = 0;
    int major = 0;
    int minor = 0;
    XTestQueryExtension(display, &eventBase, &errorBase, &major, &minor);
}

const char* text()
{
    static const std::string words = [] {
        const std::string sentence
            = "The Quick Brown Fox (aged 13) jumps over 2 lazy dogs; \"why?\", asks nobody. ";
        std::string repeated;
        while (repeated.size() < textLength)
            repeated += sentence;
        return repeated.substr(0, textLength);
    }();
    return words.c_str();
}

} // namespace Bench
