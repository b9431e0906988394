#include "clipboardchange.h"

#include <QElapsedTimer>
#include <QThread>

#include <X11/Xlib.h>
#include <X11/extensions/Xfixes.h>

namespace Zendra::Runner
{

namespace
{

constexpr int ownerTimeout = 1000; ///< milliseconds; a change takes about one

} // namespace

ClipboardChange::ClipboardChange(const QByteArray& displayName)
    : m_connection(openConnection(displayName))
    , m_clipboard(XInternAtom(m_connection.get(), "CLIPBOARD", False))
    , m_ownerBefore(owner())
{
    // xsel offers UTF-8 as Latin-1 unless this atom exists.
    XInternAtom(m_connection.get(), "UTF8_STRING", False);
}

void ClipboardChange::await() const
{
    QElapsedTimer timer;
    timer.start();
    while (owner() == m_ownerBefore && timer.elapsed() < ownerTimeout)
        QThread::msleep(1);
}

unsigned long ClipboardChange::owner() const
{
    return XGetSelectionOwner(m_connection.get(), m_clipboard);
}

ClipboardWatch::ClipboardWatch(const QByteArray& displayName)
    : m_connection(openConnection(displayName))
{
    Display* display = m_connection.get();
    int firstEvent = 0;
    int firstError = 0;
    if (XFixesQueryExtension(display, &firstEvent, &firstError) != False) {
        XFixesSelectSelectionInput(display, DefaultRootWindow(display),
            XInternAtom(display, "CLIPBOARD", False), XFixesSetSelectionOwnerNotifyMask);
        XSync(display, False);
    }
}

bool ClipboardWatch::take() const
{
    bool hasChanged = false;
    while (XPending(m_connection.get()) > 0) {
        XEvent event;
        XNextEvent(m_connection.get(), &event);
        hasChanged = true;
    }
    return hasChanged;
}

int ClipboardWatch::fileDescriptor() const
{
    return ConnectionNumber(m_connection.get());
}

} // namespace Zendra::Runner
