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

/// The base of all recorders: hears of changes of the root window (DAMAGE) and reads areas of it through
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
    /// Takes the connection over; it is closed some time after the recording was deleted.
    ScreenRecording(Video::ScreenRecordFormat format, Display* display);
    ~ScreenRecording() override;

    void sendUpdate(unsigned int timestamp) override;
    /// Begins to hear of changes.
    virtual void start();
    void xevent(XEvent* event) override;

protected:
    void customEvent(QEvent* event) override;

    Display* display() const { return m_display->display(); }
    /// Moves what changed since the last call into `region`, or forgets it where that is 0.
    void takeDamageRegion(XServerRegion region);
    /// An image over the shared memory, which may be too small for it until grabRect(). The caller destroys
    /// it.
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

    /// Throws for a screen whose pixels are not recorded.
    static unsigned int screenBytes(Display* display);
    void startOrClose();

    XDisplayRef m_display;
    int m_damageEventType;
    XShmBuffer m_shm;
    Display* m_damageDisplay;
    XDamageId m_damage = 0; ///< 0 until start()
};

} // namespace Zendra::Xlib
