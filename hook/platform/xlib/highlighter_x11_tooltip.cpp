#include "highlighter_x11.h"

#include <algorithm>
#include <map>

#include "pointer_x11.h"
#include "tooltip_x11.h"

#include <X11/Xft/Xft.h>
#include <X11/Xlib.h>

namespace Zendra
{

namespace
{

/// Where a line of a core-font tooltip is wrapped, in characters.
constexpr int wrapColumn = 80;

/// How far below the pointer's hot spot a following tooltip starts, in pixels.
constexpr int pointerDistance = 5;

/// The largest side of a drawable.
constexpr int longestSide = 32767;

// Deliberate: fonts and text colour are made once and never freed: the Xft font on screen 0, the colour on
// the screen that needed it first.
struct ToolTipFonts {
    XFontStruct* core = nullptr;
    XftFont* xft = nullptr;
    XftColor textColour {};
};

/// Their identifiers mean nothing on another connection, where using them is an X error.
std::map<Display*, ToolTipFonts>& fontsByConnection()
{
    static auto* const fonts = new std::map<Display*, ToolTipFonts>; // outlives static plug-ins
    return *fonts;
}

const ToolTipFonts& openXftFont(Display* display, Visual* visual, Colormap colormap)
{
    ToolTipFonts& fonts = fontsByConnection()[display];
    if (fonts.xft != nullptr)
        return fonts;
    fonts.xft
        = XftFontOpen(display, 0, XFT_FAMILY, XftTypeString, "sans", XFT_SIZE, XftTypeDouble, 10.0, nullptr);
    if (fonts.xft != nullptr) {
        const XRenderColor opaqueBlack {0, 0, 0, 0xffff};
        XftColorAllocValue(display, visual, colormap, &opaqueBlack, &fonts.textColour);
    }
    return fonts;
}

} // namespace

void loadCoreFont(Display* display, const char* name)
{
    XFontStruct*& font = fontsByConnection()[display].core;
    if (font == nullptr)
        font = XLoadQueryFont(display, name);
    if (font == nullptr)
        font = XLoadQueryFont(display, "fixed");
}

void forgetFonts(Display* display)
{
    fontsByConnection().erase(display);
}

QStringList softwrap(const QString& text, int width)
{
    QStringList lines;
    QString line;
    const auto emitLine = [&lines, &line] {
        lines.append(line);
        line.clear();
    };
    const QStringList words = text.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    for (const QString& word : words) {
        if (word.size() > width) {
            if (!line.isEmpty())
                emitLine();
            lines.append(word);
            continue;
        }
        if (word.size() + line.size() > width)
            emitLine();
        line += word + QLatin1Char(' ');
    }
    if (!line.isEmpty())
        emitLine();
    return lines;
}

int countMostCharsPerLine(const QStringList& lines)
{
    int most = 0;
    for (const QString& line : lines)
        most = std::max<int>(most, line.size());
    return most;
}

void resizeTooltipBitmap(Display* display, XWindow window, XPixmap* pixmap, _XGC* gc, int width, int height)
{
    XWindowAttributes attributes;
    XGetWindowAttributes(display, window, &attributes);
    if (*pixmap != None)
        XFreePixmap(display, *pixmap);
    const auto columns = static_cast<unsigned int>(width);
    const auto rows = static_cast<unsigned int>(height);
    *pixmap = XCreatePixmap(display, window, columns, rows, static_cast<unsigned int>(attributes.depth));
    XFillRectangle(display, *pixmap, gc, 0, 0, columns, rows);
}

void X11WidgetHighlighter::setToolTip(const QString& text)
{
    if (text.isEmpty())
        return;
    // Deliberate: the new pixmap is stored in this copy of the facade only, so the previous one is not freed.
    Facade current = facade(m_currentScreen);
    const int screen = resolveScreen(m_currentScreen);
    const ToolTipFonts& fonts
        = openXftFont(m_display, DefaultVisual(m_display, screen), DefaultColormap(m_display, screen));
    const TextSize size = fonts.xft != nullptr ? renderWithXft(text, screen, current)
                                               : renderWithCoreFont(text, screen, current);
    XSetWindowAttributes attributes {};
    attributes.background_pixmap = current.toolTipBitmap;
    XChangeWindowAttributes(m_display, current.toolTip, CWBackPixmap, &attributes);
    XResizeWindow(m_display, current.toolTip, static_cast<unsigned int>(size.width),
        static_cast<unsigned int>(size.height));
    XFlush(m_display);
}

void X11WidgetHighlighter::updateToolTip()
{
    const Facade current = facade(m_currentScreen);
    switch (toolTipMode()) {
    case NoToolTip:
        XUnmapWindow(m_display, current.toolTip);
        break;
    case FollowPointer: {
        const Window root = RootWindow(m_display, resolveScreen(m_currentScreen));
        const Point pointer = Xlib::queryPointer(m_display, root).position;
        XMoveWindow(m_display, current.toolTip, pointer.x, pointer.y + pointerDistance);
        break;
    }
    default:
        break;
    }
    XFlush(m_display);
}

X11WidgetHighlighter::TextSize X11WidgetHighlighter::renderWithXft(
    const QString& text, int screen, Facade& facade) const
{
    const QByteArray utf8 = text.toUtf8();
    const auto* bytes = reinterpret_cast<const FcChar8*>(utf8.constData());
    const ToolTipFonts& fonts = fontsByConnection().at(m_display);
    XGlyphInfo extents;
    XftTextExtentsUtf8(m_display, fonts.xft, bytes, utf8.size(), &extents);
    const int padding = extents.height / 4;
    // A text of blanks has size zero, and a very long one exceeds the largest drawable.
    const TextSize size {std::clamp(extents.width + 2 * padding, 1, longestSide),
        std::clamp(extents.height + 2 * padding, 1, longestSide)};
    resizeTooltipBitmap(m_display, facade.toolTip, &facade.toolTipBitmap, facade.gc, size.width, size.height);
    XftDraw* draw = XftDrawCreate(m_display, facade.toolTipBitmap, DefaultVisual(m_display, screen),
        DefaultColormap(m_display, screen));
    XftDrawStringUtf8(
        draw, &fonts.textColour, fonts.xft, extents.x + padding, extents.y + padding, bytes, utf8.size());
    XftDrawDestroy(draw);
    return size;
}

X11WidgetHighlighter::TextSize X11WidgetHighlighter::renderWithCoreFont(
    const QString& text, int screen, Facade& facade) const
{
    const QStringList lines = softwrap(text, wrapColumn);
    XFontStruct* font = fontsByConnection().at(m_display).core;
    GC gc = DefaultGC(m_display, screen);
    XSetFont(m_display, gc, font->fid);
    const int lineHeight = font->ascent + font->descent;
    TextSize size;
    // Deliberate: the width is measured on the beginning of the text, not on its longest line.
    const QByteArray sample = text.left(countMostCharsPerLine(lines)).toLocal8Bit();
    if (!sample.isEmpty()) {
        size.width = std::clamp(XTextWidth(font, sample.constData(), sample.size()), 1, longestSide);
        size.height = std::clamp<int>(lineHeight * lines.size() + 3, 1, longestSide);
    }
    resizeTooltipBitmap(m_display, facade.toolTip, &facade.toolTipBitmap, facade.gc, size.width, size.height);
    int baseline = 0;
    for (const QString& line : lines) {
        if (line.isEmpty())
            break;
        baseline += lineHeight;
        const QByteArray bytes = line.toLocal8Bit();
        XDrawString(m_display, facade.toolTipBitmap, gc, 0, baseline, bytes.constData(), bytes.size());
    }
    return size;
}

} // namespace Zendra
