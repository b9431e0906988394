#include "rootproperty.h"

#include <memory>

#include <X11/Xatom.h>
#include <X11/Xlib.h>

namespace Zendra::Runner
{

QByteArray readRootProperty(Display* display, const char* name)
{
    constexpr long mostWords = 1024;
    const Atom property = XInternAtom(display, name, True);
    if (property == None)
        return {};
    Atom type = None;
    int format = 0;
    unsigned long length = 0;
    unsigned long left = 0;
    unsigned char* data = nullptr;
    XGetWindowProperty(display, DefaultRootWindow(display), property, 0, mostWords, False, XA_STRING, &type,
        &format, &length, &left, &data);
    const std::unique_ptr<unsigned char, decltype(&XFree)> owner(data, &XFree);
    return type == XA_STRING && format == 8
        ? QByteArray(reinterpret_cast<const char*>(data), static_cast<int>(length))
        : QByteArray();
}

void writeRootProperty(Display* display, const char* name, const QByteArray& text)
{
    XChangeProperty(display, DefaultRootWindow(display), XInternAtom(display, name, False), XA_STRING, 8,
        PropModeReplace, reinterpret_cast<const unsigned char*>(text.constData()), text.size());
    XSync(display, False);
}

} // namespace Zendra::Runner
