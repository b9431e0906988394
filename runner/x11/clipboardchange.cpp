#include "clipboardchange.h"

#include <QElapsedTimer>
#include <QThread>

#include <X11/Xlib.h>

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

} // namespace Zendra::Runner
