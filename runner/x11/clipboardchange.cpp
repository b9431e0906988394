#include "clipboardchange.h"

#include <poll.h>

#include <QDeadlineTimer>

#include "cli/failure.h"

#include <X11/Xlib.h>
#include <X11/extensions/Xfixes.h>

namespace Zendra::Runner
{

namespace
{

constexpr int ownerTimeout = 10'000; ///< milliseconds; a change takes about one on an idle machine
constexpr int ownerTimeoutWithoutXFixes = 1000;
constexpr int pollInterval = 10;

} // namespace

ClipboardChange::ClipboardChange(const QByteArray& displayName)
    : m_watch(displayName)
    , m_clipboard(XInternAtom(m_watch.display(), "CLIPBOARD", False))
    , m_ownerBefore(owner())
{
    // xsel offers UTF-8 as Latin-1 unless this atom exists.
    XInternAtom(m_watch.display(), "UTF8_STRING", False);
}

void ClipboardChange::await() const
{
    const QDeadlineTimer deadline(m_watch.canTell() ? ownerTimeout : ownerTimeoutWithoutXFixes);
    while (!m_watch.take() && owner() == m_ownerBefore) {
        if (deadline.hasExpired()) {
            if (!m_watch.canTell())
                return;
            throw operationFailure(QStringLiteral("xsel has not taken the clipboard within %1 seconds")
                                       .arg(ownerTimeout / 1000));
        }
        pollfd descriptor {m_watch.fileDescriptor(), POLLIN, 0};
        poll(&descriptor, 1, pollInterval);
    }
}

unsigned long ClipboardChange::owner() const
{
    return XGetSelectionOwner(m_watch.display(), m_clipboard);
}

ClipboardWatch::ClipboardWatch(const QByteArray& displayName)
    : m_connection(openConnection(displayName))
{
    Display* display = m_connection.get();
    int firstEvent = 0;
    int firstError = 0;
    m_canTell = XFixesQueryExtension(display, &firstEvent, &firstError) != False;
    if (m_canTell) {
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
