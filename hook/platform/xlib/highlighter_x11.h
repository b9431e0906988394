#pragma once

#include <array>
#include <map>

#include <zendra/widgethighlighter.h>

#include "types_x11.h"
#include "xdisplay_xlib.h"

struct _XGC;

namespace Zendra
{

/// Frames a rectangle with four thin windows and shows a tooltip in a fifth. The windows are created on first
/// use, once per screen.
class X11WidgetHighlighter : public WidgetHighlighter
{
public:
    /// Makes no X request.
    explicit X11WidgetHighlighter(Display* display);
    ~X11WidgetHighlighter() override;

    void setGeometry(const Rect& rect) override;
    void setToolTip(const QString& text) override;
    void updateToolTip() override;
    bool isVisible() const override;
    void show() override;
    void hide() override;

private:
    Q_DISABLE_COPY(X11WidgetHighlighter)

    /// The X resources of one screen.
    struct Facade {
        std::array<XWindow, 4> edges {}; ///< top, right, bottom, left
        XWindow toolTip = 0;
        XPixmap toolTipBitmap = 0;
        _XGC* gc = nullptr;
    };

    struct TextSize {
        int width = 1;
        int height = 1;
    };

    Facade facade(int screen);
    void create(int screen);
    XWindow createWindow(int screen, unsigned int borderWidth, unsigned long background) const;
    int resolveScreen(int screen) const;
    void updateDpi(int screen);
    TextSize renderWithXft(const QString& text, int screen, Facade& facade) const;
    TextSize renderWithCoreFont(const QString& text, int screen, Facade& facade) const;

    std::map<int, Facade> m_facades; ///< by screen number; -1 is a second key of the default screen's
    int m_currentScreen = -1;
    int m_dpi = 96; ///< of the screen whose windows were created last
    Display* m_display;
};

/// The highlighter on a private connection. Every operation dispatches queued events.
class PureX11WidgetHighlighter : public X11WidgetHighlighter
{
public:
    /// Takes a reference on the wrapper.
    explicit PureX11WidgetHighlighter(Xlib::XDisplay* display);
    ~PureX11WidgetHighlighter() override;

    void setGeometry(const Rect& rect) override;
    void setToolTip(const QString& text) override;
    void updateToolTip() override;
    bool isVisible() const override;
    void show() override;
    void hide() override;

private:
    Q_DISABLE_COPY(PureX11WidgetHighlighter)

    Xlib::XDisplay* m_wrapper;
};

} // namespace Zendra
