#pragma once

#include <QtGlobal>

#include "types_x11.h"

namespace Zendra::Xlib
{

/// Owns an image, and destroys it with XDestroyImage().
class Image
{
public:
    explicit Image(XImage* image)
        : m_image(image)
    {
    }
    ~Image();

    XImage* get() const { return m_image; }
    XImage* operator->() const { return m_image; }

private:
    Q_DISABLE_COPY(Image)

    XImage* m_image;
};

} // namespace Zendra::Xlib
