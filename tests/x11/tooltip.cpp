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

std::unique_ptr<XServer> TooltipTest::s_server;
std::unique_ptr<PureSession> TooltipTest::s_session;
std::unique_ptr<Connection> TooltipTest::s_observer;

void TooltipTest::SetUpTestSuite()
{
    s_server = std::make_unique<XServer>(withScreens({"800x600x24", "640x480x24"}, {"-dpi", "96"}));
    s_session = std::make_unique<PureSession>(*s_server);
    s_observer = std::make_unique<Connection>(*s_server);
}

void TooltipTest::TearDownTestSuite()
{
    s_observer.reset();
    s_session.reset();
    s_server.reset();
}

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
    return pictureOf(m_observer, m_window, place().size());
}

QImage pictureOf(Display* display, unsigned long drawable, QSize size)
{
    XImage* image = XGetImage(display, drawable, 0, 0, static_cast<unsigned int>(size.width()),
        static_cast<unsigned int>(size.height()), AllPlanes, ZPixmap);
    QImage picture(size, QImage::Format_RGB32);
    for (int y = 0; y < size.height(); ++y) {
        for (int x = 0; x < size.width(); ++x)
            picture.setPixel(x, y, 0xFF000000U | static_cast<QRgb>(XGetPixel(image, x, y)));
    }
    XDestroyImage(image);
    return picture;
}

} // namespace Zendra::Tests
