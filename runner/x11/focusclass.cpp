#include "focusclass.h"

#include "connection.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>

namespace Zendra::Runner
{

QString focusClass(const QByteArray& displayName)
{
    const ConnectionPointer connection = openConnection(displayName);
    Window window = None;
    int revert = 0;
    XGetInputFocus(connection.get(), &window, &revert);
    while (window != None && window != PointerRoot) {
        XClassHint hint {};
        if (XGetClassHint(connection.get(), window, &hint) != 0) {
            const QString name = QString::fromLocal8Bit(hint.res_class);
            XFree(hint.res_name);
            XFree(hint.res_class);
            return name;
        }
        Window root = None;
        Window parent = None;
        Window* children = nullptr;
        unsigned int count = 0;
        if (XQueryTree(connection.get(), window, &root, &parent, &children, &count) == 0)
            break;
        if (children != nullptr)
            XFree(children);
        window = parent;
    }
    return {};
}

} // namespace Zendra::Runner
