#include "highlighter_x11.h"

#include <cstdio>

#include "tooltip_x11.h"

#include <X11/Xlib.h>
#include <X11/extensions/Xrandr.h>

namespace Zendra
{

namespace
{

constexpr double millimetresPerInch = 25.4;

/// The resolution at which frames become thicker and fonts larger.
constexpr int highDpi = 150;

unsigned long namedColour(Display* display, int screen, const char* name)
{
    XColor colour {};
    XColor exact {};
    if (XAllocNamedColor(display, DefaultColormap(display, screen), name, &colour, &exact) == 0)
        return WhitePixel(display, screen);
    return colour.pixel;
}

/// The last column or row of an extent. The protocol carries 16 bits of it.
int lastPixel(int first, int length)
{
    return static_cast<int>(static_cast<unsigned int>(first) + static_cast<unsigned int>(length) - 1U);
}

/// Zero, in the 16 bits of the protocol, is an X error that would end the host.
unsigned int validSize(int size)
{
    return (static_cast<unsigned int>(size) & 0xFFFFU) == 0 ? 1U : static_cast<unsigned int>(size);
}

/// Dots per inch; `fallback` if the size in millimetres is unknown.
int resolution(int pixels, int millimetres, int fallback)
{
    return millimetres > 0 ? static_cast<int>(pixels * millimetresPerInch / millimetres) : fallback;
}

} // namespace

X11WidgetHighlighter::X11WidgetHighlighter(Display* display)
    : m_display(display)
{
}

// Deliberate: windows, pixmaps and graphics contexts are freed with the connection.
X11WidgetHighlighter::~X11WidgetHighlighter()
{
    forgetFonts(m_display);
}

void X11WidgetHighlighter::setGeometry(const Rect& rect)
{
    const Facade current = facade(rect.screen);
    const int thickness = 2 * (m_dpi / highDpi) + 2;
    // Deliberate: the top and left edges lie inside the rectangle; the right and bottom ones start on its
    // last column and row and reach outside.
    const std::array<Rect, 4> edges {{
        {rect.x, rect.y, rect.width, thickness},
        {lastPixel(rect.x, rect.width), rect.y, thickness, rect.height},
        {rect.x, lastPixel(rect.y, rect.height), rect.width, thickness},
        {rect.x, rect.y, thickness, rect.height},
    }};
    for (size_t i = 0; i < edges.size(); ++i) {
        XMoveResizeWindow(m_display, current.edges[i], edges[i].x, edges[i].y, validSize(edges[i].width),
            validSize(edges[i].height));
    }
    XFlush(m_display);
}

bool X11WidgetHighlighter::isVisible() const
{
    const auto entry = m_facades.find(m_currentScreen);
    if (entry == m_facades.end())
        return false;
    XWindowAttributes attributes;
    return XGetWindowAttributes(m_display, entry->second.edges.front(), &attributes) != 0
        && attributes.map_state == IsViewable;
}

void X11WidgetHighlighter::show()
{
    const Facade current = facade(m_currentScreen);
    for (const XWindow edge : current.edges)
        XMapRaised(m_display, edge);
    if (toolTipMode() != NoToolTip)
        XMapRaised(m_display, current.toolTip);
    updateToolTip();
}

void X11WidgetHighlighter::hide()
{
    const Facade current = facade(m_currentScreen);
    for (const XWindow edge : current.edges)
        XUnmapWindow(m_display, edge);
    XUnmapWindow(m_display, current.toolTip);
    XFlush(m_display);
}

X11WidgetHighlighter::Facade X11WidgetHighlighter::facade(int screen)
{
    static bool invalidScreenReported = false;
    if (screen < -1 || screen >= ScreenCount(m_display)) {
        if (!invalidScreenReported)
            fprintf(stderr, "Invalid screen number %d\n", screen);
        invalidScreenReported = true;
        screen = -1;
    }
    m_currentScreen = screen;
    if (m_facades.find(screen) == m_facades.end())
        create(screen);
    return m_facades.at(screen);
}

void X11WidgetHighlighter::create(int screen)
{
    const int resolved = resolveScreen(screen);
    const unsigned long frameColour = namedColour(m_display, resolved, "OrangeRed");
    updateDpi(resolved);

    Facade created;
    for (XWindow& edge : created.edges)
        edge = createWindow(resolved, 0, frameColour);
    loadCoreFont(m_display, m_dpi >= highDpi ? "10x20" : "6x10");
    const unsigned long toolTipColour = namedColour(m_display, resolved, "Yellow");
    created.toolTip = createWindow(resolved, 1, toolTipColour);
    created.gc = XCreateGC(m_display, created.toolTip, 0, nullptr);
    XSetForeground(m_display, created.gc, toolTipColour);

    // Deliberate: -1 creates new windows for the default screen, and forgets those created by its number.
    m_facades[resolved] = created;
    if (screen == -1)
        m_facades.emplace(-1, created);
}

XWindow X11WidgetHighlighter::createWindow(
    int screen, unsigned int borderWidth, unsigned long background) const
{
    const Window window = XCreateSimpleWindow(m_display, RootWindow(m_display, screen), 0, 0, 1, 1,
        borderWidth, BlackPixel(m_display, screen), background);

    // For window managers that frame even override-redirect windows, ask for no decorations.
    XSetWindowAttributes attributes {};
    attributes.override_redirect = True;
    XChangeWindowAttributes(m_display, window, CWOverrideRedirect, &attributes);
    const Atom motifHints = XInternAtom(m_display, "_MOTIF_WM_HINTS", False);
    // Flags (the decorations count), functions, decorations (none), input mode, status. Xlib takes 32-bit
    // items as longs.
    const std::array<unsigned long, 5> hints {2, 0, 0, 0, 0};
    XChangeProperty(m_display, window, motifHints, motifHints, 32, PropModeReplace,
        reinterpret_cast<const unsigned char*>(hints.data()), static_cast<int>(hints.size()));
    return window;
}

int X11WidgetHighlighter::resolveScreen(int screen) const
{
    return screen == -1 ? DefaultScreen(m_display) : screen;
}

void X11WidgetHighlighter::updateDpi(int screen)
{
    int eventBase = 0;
    int errorBase = 0;
    if (XRRQueryExtension(m_display, &eventBase, &errorBase) == False) {
        m_dpi = resolution(DisplayWidth(m_display, screen), DisplayWidthMM(m_display, screen), m_dpi);
        return;
    }
    int count = 0;
    const XRRScreenSize* sizes = XRRSizes(m_display, screen, &count);
    if (sizes != nullptr && count > 0)
        m_dpi = resolution(sizes->width, sizes->mwidth, m_dpi);
}

PureX11WidgetHighlighter::PureX11WidgetHighlighter(Xlib::XDisplay* display)
    : X11WidgetHighlighter(display->display())
    , m_wrapper(display)
{
    m_wrapper->ref();
}

PureX11WidgetHighlighter::~PureX11WidgetHighlighter()
{
    m_wrapper->deref();
}

void PureX11WidgetHighlighter::setGeometry(const Rect& rect)
{
    X11WidgetHighlighter::setGeometry(rect);
    m_wrapper->processQueuedEvents();
}

void PureX11WidgetHighlighter::setToolTip(const QString& text)
{
    X11WidgetHighlighter::setToolTip(text);
    m_wrapper->processQueuedEvents();
}

void PureX11WidgetHighlighter::updateToolTip()
{
    X11WidgetHighlighter::updateToolTip();
    m_wrapper->processQueuedEvents();
}

bool PureX11WidgetHighlighter::isVisible() const
{
    const bool visible = X11WidgetHighlighter::isVisible();
    m_wrapper->processQueuedEvents();
    return visible;
}

void PureX11WidgetHighlighter::show()
{
    X11WidgetHighlighter::show();
    m_wrapper->processQueuedEvents();
}

void PureX11WidgetHighlighter::hide()
{
    X11WidgetHighlighter::hide();
    m_wrapper->processQueuedEvents();
}

} // namespace Zendra
