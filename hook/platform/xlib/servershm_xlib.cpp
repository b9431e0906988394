#include "servershm_xlib.h"

#include <stdexcept>

#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XShm.h>

namespace Zendra::Xlib
{

namespace
{

XShmSegmentInfo attach(Display* display, const ShmBuffer& buffer)
{
    XShmSegmentInfo info {};
    info.shmid = buffer.id();
    info.shmaddr = static_cast<char*>(buffer.address());
    info.readOnly = False;
    // Deliberate: only what Xlib knows is checked. A server that shares no memory with this process refuses
    // later, with an X error.
    if (XShmAttach(display, &info) == False)
        throw std::runtime_error("Failed attaching the shared memory region");
    return info;
}

} // namespace

struct XShmBuffer::Info {
    XShmSegmentInfo record;
};

XShmBuffer::XShmBuffer(Display* display, unsigned long size)
    : m_display(display)
    , m_buffer(size)
    , m_info(std::make_unique<Info>())
{
    m_info->record = attach(display, m_buffer);
}

XShmBuffer::~XShmBuffer()
{
    detach();
}

void XShmBuffer::resize(unsigned long size)
{
    ShmBuffer fresh(size);
    const XShmSegmentInfo info = attach(m_display, fresh);
    detach();
    m_buffer.swap(fresh);
    m_info->record = info;
    m_isAttached = false;
}

/// The segment may be removed afterwards. A pending request to attach it would then fail with an X error,
/// which ends most programs.
void XShmBuffer::detach()
{
    XShmDetach(m_display, &m_info->record);
    if (m_isAttached)
        XFlush(m_display); // the server keeps the memory until it hears of this
    else
        XSync(m_display, False);
}

XImage* XShmBuffer::createImage(const QSize& size, XVisual* visual, unsigned int depth)
{
    return XShmCreateImage(m_display, static_cast<Visual*>(visual), depth, ZPixmap,
        static_cast<char*>(address()), &m_info->record, static_cast<unsigned int>(size.width()),
        static_cast<unsigned int>(size.height()));
}

bool XShmBuffer::grab(XImage* image, const QPoint& origin)
{
    // Xlib sends the offset of the pixels from the segment's start: after a resize both have moved.
    image->data = static_cast<char*>(address());
    if (XShmGetImage(m_display, DefaultRootWindow(m_display), image, origin.x(), origin.y(), AllPlanes)
        == False) {
        return false;
    }
    // The reply shows that the server has attached the segment; no other process needs to.
    if (!m_isAttached) {
        m_buffer.restrictToAttached();
        m_isAttached = true;
    }
    return true;
}

} // namespace Zendra::Xlib
