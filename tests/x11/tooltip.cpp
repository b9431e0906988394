#include "tooltip.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>

namespace Zendra::Tests
{

namespace
{

XWindowAttributes attributesOf(Display* display, Window window)
{
    XWindowAttributes attributes {};
    XGetWindowAttributes(display, window, &attributes);
    return attributes;
}

} // namespace

Tooltip::Tooltip(const PureSession& session, const Connection& observer, int screen)
    : highlighter(session.display())
    , m_display(session.display())
    , m_observer(observer)
{
    highlighter.setToolTipMode(WidgetHighlighter::FixedToolTip);
    highlighter.setGeometry({400, 300, 50, 20, screen});
    highlighter.show();
    XSync(m_display, False);
    m_window = observer.windows(screen).back(); // the one that was raised last
}

bool Tooltip::isVisible() const
{
    XSync(m_display, False);
    return attributesOf(m_observer, m_window).map_state == IsViewable;
}

QRect Tooltip::place() const
{
    XSync(m_display, False);
    const XWindowAttributes at = attributesOf(m_observer, m_window);
    return {at.x, at.y, at.width, at.height};
}

QImage Tooltip::image() const
{
    const QSize size = place().size();
    XImage* image = XGetImage(m_observer, m_window, 0, 0, static_cast<unsigned int>(size.width()),
        static_cast<unsigned int>(size.height()), AllPlanes, ZPixmap);
    const QImage picture(reinterpret_cast<const uchar*>(image->data), size.width(), size.height(),
        image->bytes_per_line, QImage::Format_RGB32);
    QImage copy = picture.convertToFormat(QImage::Format_RGB888);
    XDestroyImage(image);
    return copy;
}

QRect inkOf(const QImage& image)
{
    constexpr QRgb yellow = 0xFFFFFF00;
    QRect ink;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (image.pixel(x, y) != yellow)
                ink |= QRect(x, y, 1, 1);
        }
    }
    return ink;
}

} // namespace Zendra::Tests
