// Covers the root window with a picture that compresses like a photograph, the same one on every run: shapes
// of all sizes, soft ones and fine ones, under the grain of a sensor. It stays when the program has ended.
// With
// --scroll the program goes on and moves the picture, so that the whole screen changes all the time.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include <unistd.h>

#include <X11/Xlib.h>
#include <X11/Xutil.h>

namespace
{

/// A number from 0 to 1 that looks random, and is the same whenever it is asked for.
float hash(unsigned x, unsigned y, unsigned seed)
{
    std::uint32_t value = x * 0x9E3779B1U ^ y * 0x85EBCA77U ^ seed * 0xC2B2AE3DU;
    value = (value ^ value >> 15) * 0x2C1B3C6DU;
    value = (value ^ value >> 12) * 0x297A2D39U;
    return static_cast<float>((value ^ value >> 15) >> 8) / 0x1p24F;
}

/// Hills of the width `size`, smooth in between.
float hills(int x, int y, int size, unsigned seed)
{
    const auto column = static_cast<unsigned>(x / size);
    const auto row = static_cast<unsigned>(y / size);
    const auto smooth = [size](int place) {
        const float t = static_cast<float>(place % size) / static_cast<float>(size);
        return t * t * (3 - 2 * t);
    };
    const auto mix = [](float a, float b, float t) { return a + (b - a) * t; };
    const float right = smooth(x);
    return mix(mix(hash(column, row, seed), hash(column + 1, row, seed), right),
        mix(hash(column, row + 1, seed), hash(column + 1, row + 1, seed), right), smooth(y));
}

unsigned long pixel(int x, int y)
{
    constexpr int grain = 6;
    unsigned long colour = 0;
    for (unsigned channel = 0; channel < 3; ++channel) {
        float value = 0;
        float height = 128;
        for (int size = 512; size >= 4; size /= 2, height *= 0.55F)
            value += height * hills(x, y, size, channel / 2 + 8 * static_cast<unsigned>(size));
        value += grain * (hash(static_cast<unsigned>(x), static_cast<unsigned>(y), channel) - 0.5F);
        colour = colour << 8 | static_cast<unsigned long>(std::clamp(value, 0.0F, 255.0F));
    }
    return colour;
}

Pixmap paintRoot(Display* display)
{
    const int screen = DefaultScreen(display);
    const Window root = RootWindow(display, screen);
    const auto width = static_cast<unsigned>(DisplayWidth(display, screen));
    const auto height = static_cast<unsigned>(DisplayHeight(display, screen));
    const auto depth = static_cast<unsigned>(DefaultDepth(display, screen));
    XImage* image = XGetImage(display, root, 0, 0, width, height, AllPlanes, ZPixmap);
    for (int y = 0; y < image->height; ++y) {
        for (int x = 0; x < image->width; ++x)
            XPutPixel(image, x, y, pixel(x, y));
    }
    const Pixmap pixmap = XCreatePixmap(display, root, width, height, depth);
    XPutImage(display, pixmap, DefaultGC(display, screen), image, 0, 0, 0, 0, width, height);
    XSetWindowBackgroundPixmap(display, root, pixmap);
    XClearWindow(display, root);
    XDestroyImage(image);
    return pixmap;
}

/// Moves the picture up for ever, more often than it is recorded.
[[noreturn]] void scroll(Display* display, Pixmap picture)
{
    const int screen = DefaultScreen(display);
    const Window root = RootWindow(display, screen);
    GC context = DefaultGC(display, screen);
    const auto width = static_cast<unsigned>(DisplayWidth(display, screen));
    const int height = DisplayHeight(display, screen);
    constexpr int step = 4;
    constexpr unsigned pause = 25'000; // microseconds
    for (int top = step;; top = (top + step) % height) {
        const auto upper = static_cast<unsigned>(height - top);
        XCopyArea(display, picture, root, context, 0, top, width, upper, 0, 0);
        XCopyArea(display, picture, root, context, 0, 0, width, static_cast<unsigned>(top), 0, height - top);
        XSync(display, False);
        if (top == step) {
            std::puts("scrolling");
            std::fflush(stdout);
        }
        usleep(pause);
    }
}

} // namespace

int main(int argc, char** argv)
{
    Display* display = XOpenDisplay(nullptr);
    if (display == nullptr) {
        std::fputs("zendra-bench-backdrop: cannot open the display\n", stderr);
        return 3;
    }
    const Pixmap picture = paintRoot(display);
    if (argc > 1 && std::strcmp(argv[1], "--scroll") == 0)
        scroll(display, picture);
    XFreePixmap(display, picture);
    XCloseDisplay(display);
    return 0;
}
