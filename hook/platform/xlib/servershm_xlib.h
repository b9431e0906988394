#pragma once

#include <memory>

#include <QPoint>
#include <QSize>

#include "shm_xlib.h"
#include "types_x11.h"

namespace Zendra::Xlib
{

/// Shared memory that the X server writes images into (MIT-SHM). Failures are thrown as std::runtime_error.
class XShmBuffer
{
public:
    /// Queues the request to attach the memory. The caller owns the connection.
    XShmBuffer(Display* display, unsigned long size);
    ~XShmBuffer();

    int id() const { return m_buffer.id(); }
    void* address() const { return m_buffer.address(); }
    unsigned long size() const { return m_buffer.size(); }
    /// Always allocates a new segment, without copying. On failure the old one stays in use.
    void resize(unsigned long size);

    /// An image whose pixels are in this memory; null on failure. The caller destroys it, which does not free
    /// the memory; it must not outlive this object.
    XImage* createImage(const QSize& size, XVisual* visual, unsigned int depth);
    /// Fills an image of createImage() from the root window, with its top-left pixel at `origin`. The memory
    /// must be large enough. False when the server refuses.
    bool grab(XImage* image, const QPoint& origin);

private:
    Q_DISABLE_COPY(XShmBuffer)

    struct Info;

    void detach();

    Display* m_display;
    ShmBuffer m_buffer;
    std::unique_ptr<Info> m_info; ///< on the heap, since images point to it
    bool m_isAttached = false;    ///< confirmed by a reply of the server
};

} // namespace Zendra::Xlib
