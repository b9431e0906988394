#pragma once

#include <ctime>

#include <QPoint>
#include <QSize>

#include <zendra/video/videostreamproducer.h>

#include "servershm_xlib.h"
#include "types_x11.h"
#include "xdisplay_xlib.h"

namespace Zendra::Xlib
{

/// Whole milliseconds from one time to another; negative when `to` is the earlier one.
int milisecondsBetween(const timespec& from, const timespec& to);

/// The base class of all recorders: tracks changes of the root window (DAMAGE) and reads areas of it through
/// shared memory (MIT-SHM).
///
/// A recording starts by itself once the event loop runs. It lives on the thread of that loop. The
/// constructors throw std::runtime_error for a server that lacks an extension and for screens that do not
/// have 32 bits a pixel; a failure to start closes the stream with code Failed.
class ScreenRecording : public Video::VideoStreamProducer, public XEventListener
{
public:
    /// Takes a reference on `display`.
    ScreenRecording(Video::ScreenRecordFormat format, XDisplay* display);
    /// Takes ownership of the connection; it is closed by deferred deletion after the recording.
    ScreenRecording(Video::ScreenRecordFormat format, Display* display);
    ~ScreenRecording() override;

    void sendUpdate(unsigned int timestamp) override;
    /// Creates the DAMAGE object and listens to its events.
    virtual void start();
    void xevent(XEvent* event) override;

protected:
    void customEvent(QEvent* event) override;

    Display* display() const { return m_display->display(); }
    /// Moves the damage since the last call into `region`, or discards it if that is 0.
    void takeDamageRegion(XServerRegion region);
    /// An image in the shared memory, which grabRect() enlarges if necessary. The caller destroys it.
    XImage* newShmImage(const QSize& size, XVisual* visual, unsigned int depth);
    /// Reads the part of the screen that has `origin` as its top-left pixel and the image's size. Returns the
    /// pixels, which are valid until the next grab.
    unsigned char* grabRect(XImage* image, const QPoint& origin);

    /// Returns the type of damage events; throws for the first extension that is missing.
    static int checkRequiredExtensions(Display* display);
    static XDamageId createDamage(Display* display);
    static XServerRegion createEmptyRegion(Display* display);
    static QSize getDisplaySize(Display* display);
    /// In pixels.
    static int getDisplayBufferSize(Display* display);

private:
    Q_DISABLE_COPY(ScreenRecording)

    /// Throws for a screen whose pixel format is not supported.
    static unsigned int screenBytes(Display* display);
    void startOrClose();

    XDisplayRef m_display;
    int m_damageEventType;
    XShmBuffer m_shm;
    Display* m_damageDisplay;
    XDamageId m_damage = 0; ///< 0 until start()
};

} // namespace Zendra::Xlib
