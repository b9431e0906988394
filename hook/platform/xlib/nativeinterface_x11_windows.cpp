#include "nativeinterface_x11.h"

#include <cstring>
#include <memory>

#include <X11/Xlib.h>
#include <X11/Xutil.h>

namespace Zendra
{

namespace
{

/// Search depth below the root: window managers add one or two frame windows.
constexpr int searchDepth = 3;

struct XFreeDeleter {
    void operator()(void* data) const { XFree(data); }
};

bool hasName(Display* display, Window window, const char* name, bool exact)
{
    char* fetched = nullptr;
    if (XFetchName(display, window, &fetched) == 0 || fetched == nullptr)
        return false;
    const std::unique_ptr<char, XFreeDeleter> windowName(fetched);
    return exact ? std::strcmp(fetched, name) == 0 : std::strstr(fetched, name) != nullptr;
}

} // namespace

XWindow X11NativeInterface::findChildWindowByName(
    XWindow parent, const char* name, int depth, bool exact) const
{
    Window root = None;
    Window parentOfParent = None;
    Window* list = nullptr;
    unsigned int count = 0;
    if (XQueryTree(display(), parent, &root, &parentOfParent, &list, &count) == 0)
        return None;
    const std::unique_ptr<Window[], XFreeDeleter> children(list);
    for (unsigned int i = 0; i < count; ++i) {
        if (hasName(display(), children[i], name, exact))
            return children[i];
    }
    if (depth < 2)
        return None;
    for (unsigned int i = 0; i < count; ++i) {
        const XWindow found = findChildWindowByName(children[i], name, depth - 1, exact);
        if (found != None)
            return found;
    }
    return None;
}

QString X11NativeInterface::sendTextToWindow(QString windowName, QString text)
{
    static const QString notFound = QStringLiteral("Could not find a window with the name '%1'");
    const XWindow window = findChildWindowByName(
        DefaultRootWindow(display()), windowName.toLatin1().constData(), searchDepth, true);
    if (window == None)
        return notFound.arg(windowName);
    // Deliberate: with XTest the keys go to the window with the focus; this one only has to exist.
    for (const QChar character : qAsConst(text)) {
        const QString errorText = sendSingleEvent(window, QString(character));
        if (!errorText.isEmpty())
            return errorText;
    }
    return {};
}

} // namespace Zendra
