#include "screenrecording_xlib.h"

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <string>

#include <QCoreApplication>
#include <QEvent>

#include <X11/Xlib.h>
#include <X11/extensions/XShm.h>
#include <X11/extensions/Xdamage.h>
#include <X11/extensions/Xfixes.h>

namespace Zendra::Xlib
{

namespace
{

constexpr int startEvent = 1010;
constexpr int processEvent = 1011;

constexpr unsigned int bytesPerPixel = 4;

void post(QObject* receiver, int type)
{
    QCoreApplication::postEvent(receiver, new QEvent(static_cast<QEvent::Type>(type)), 0);
}

/// Pixels are not converted: with another size they would be read wrongly, and past the end of the image.
void checkPixelSize(Display* display)
{
    int count = 0;
    const std::unique_ptr<XPixmapFormatValues, int (*)(void*)> formats(
        XListPixmapFormats(display, &count), &XFree);
    const int depth = DefaultDepth(display, DefaultScreen(display));
    const XPixmapFormatValues* const begin = formats.get();
    const XPixmapFormatValues* const end = begin + (begin != nullptr ? count : 0);
    const auto* const format = std::find_if(
        begin, end, [depth](const XPixmapFormatValues& candidate) { return candidate.depth == depth; });
    const auto bits = static_cast<unsigned int>(format != end ? format->bits_per_pixel : depth);
    if (bits != bytesPerPixel * 8) {
        throw std::runtime_error(
            "Recording needs a screen with 32 bits a pixel, this one has " + std::to_string(bits));
    }
    // Screens of depth 30 have 32 bits a pixel as well.
    const Visual* visual = DefaultVisual(display, DefaultScreen(display));
    if (visual->red_mask != 0xFF0000 || visual->green_mask != 0xFF00 || visual->blue_mask != 0xFF) {
        throw std::runtime_error(
            "Recording needs 8 bits for each of red, green and blue, in this order; this "
            "screen of depth "
            + std::to_string(depth) + " has others");
    }
}

} // namespace

int milisecondsBetween(const timespec& from, const timespec& to)
{
    return static_cast<int>((to.tv_sec - from.tv_sec) * 1000 + (to.tv_nsec - from.tv_nsec) / 1'000'000);
}

ScreenRecording::ScreenRecording(Video::ScreenRecordFormat format, XDisplay* display)
    : VideoStreamProducer(format, nullptr)
    , m_display(display)
    , m_damageEventType(checkRequiredExtensions(display->display()))
    , m_shm(display->display(), screenBytes(display->display()))
    , m_damageDisplay(display->display())
{
    // Deferred: the subclass is not constructed yet, and no receiver is connected.
    post(this, startEvent);
}

ScreenRecording::ScreenRecording(Video::ScreenRecordFormat format, Display* display)
    : ScreenRecording(format, new XDisplay(display))
{
}

ScreenRecording::~ScreenRecording()
{
    if (m_damage != 0) {
        m_display->removeListener(m_damageEventType, this);
        XDamageDestroy(m_damageDisplay, m_damage);
    }
    // The destructor of the shared memory may wait for the server, which reads events into Xlib's queue.
    QMetaObject::invokeMethod(m_display.get(), "displayReadyRead", Qt::QueuedConnection);
}

void ScreenRecording::start()
{
    m_damage = createDamage(display());
    m_display->addListener(m_damageEventType, this);
    XFlush(display());
    m_display->processQueuedEvents();
}

void ScreenRecording::xevent(XEvent* event)
{
    if (reinterpret_cast<const XDamageNotifyEvent*>(event)->damage == m_damage)
        markDirty();
}

void ScreenRecording::customEvent(QEvent* event)
{
    switch (static_cast<int>(event->type())) {
    case startEvent:
        startOrClose();
        break;
    case processEvent:
        m_display->processQueuedEvents();
        break;
    default:
        VideoStreamProducer::customEvent(event);
    }
}

void ScreenRecording::startOrClose()
{
    // A receiver may stop the stream before it has started.
    if (isClosed())
        return;
    try {
        start();
    } catch (const std::exception& error) {
        closeStream(Failed, QString::fromUtf8(error.what()));
    }
}

/// The requests of an update read events into Xlib's queue, where the socket notifier does not see them.
void ScreenRecording::sendUpdate(unsigned int /*timestamp*/)
{
    post(this, processEvent);
}

void ScreenRecording::takeDamageRegion(XServerRegion region)
{
    XDamageSubtract(display(), m_damage, None, region);
    XFlush(display());
}

XImage* ScreenRecording::newShmImage(const QSize& size, XVisual* visual, unsigned int depth)
{
    XImage* image = m_shm.createImage(size, visual, depth);
    if (image == nullptr)
        throw std::runtime_error("Failed allocating a new X Image object");
    return image;
}

unsigned char* ScreenRecording::grabRect(XImage* image, const QPoint& origin)
{
    const auto needed
        = static_cast<unsigned long>(image->bytes_per_line) * static_cast<unsigned long>(image->height);
    if (needed > m_shm.size())
        m_shm.resize(needed);
    if (!m_shm.grab(image, origin))
        throw std::runtime_error("Failed retrieving the shm image");
    return static_cast<unsigned char*>(m_shm.address());
}

int ScreenRecording::checkRequiredExtensions(Display* display)
{
    int eventBase = 0;
    int errorBase = 0;
    int fixesEventBase = 0;
    if (XDamageQueryExtension(display, &eventBase, &errorBase) == False)
        throw std::runtime_error("The X server does not support the XDamage extension");
    if (XFixesQueryExtension(display, &fixesEventBase, &errorBase) == False)
        throw std::runtime_error("The X server does not support the XFixes extension");
    if (XShmQueryExtension(display) == False)
        throw std::runtime_error("The X server does not support the XShm extension");
    return eventBase;
}

/// ReportNonEmpty: one event until the damage is subtracted, however much is drawn.
XDamageId ScreenRecording::createDamage(Display* display)
{
    const Damage damage = XDamageCreate(display, DefaultRootWindow(display), XDamageReportNonEmpty);
    if (damage == None)
        throw std::runtime_error("Failed creating an XDamage object");
    return damage;
}

XServerRegion ScreenRecording::createEmptyRegion(Display* display)
{
    const XserverRegion region = XFixesCreateRegion(display, nullptr, 0);
    if (region == None)
        throw std::runtime_error("Failed creating an Region object");
    return region;
}

QSize ScreenRecording::getDisplaySize(Display* display)
{
    XWindowAttributes attributes;
    if (XGetWindowAttributes(display, DefaultRootWindow(display), &attributes) == 0)
        throw std::runtime_error("Failed retrieving the display geometry");
    return {attributes.width, attributes.height};
}

unsigned int ScreenRecording::screenBytes(Display* display)
{
    checkPixelSize(display);
    // Deliberate: computed in 32 bits; grabRect() allocates more if an image needs it.
    return static_cast<unsigned int>(getDisplayBufferSize(display)) * bytesPerPixel;
}

int ScreenRecording::getDisplayBufferSize(Display* display)
{
    const QSize size = getDisplaySize(display);
    return size.width() * size.height();
}

} // namespace Zendra::Xlib
