#include "image_xlib.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>

namespace Zendra::Xlib
{

Image::~Image()
{
    XDestroyImage(m_image);
}

} // namespace Zendra::Xlib
