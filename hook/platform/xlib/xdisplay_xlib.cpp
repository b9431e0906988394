#include "xdisplay_xlib.h"

#include <algorithm>
#include <stdexcept>

#include <QSocketNotifier>

#include <X11/Xlib.h>

namespace Zendra::Xlib
{

Display* requireConnection(Display* display)
{
    if (display == nullptr)
        throw std::runtime_error("Failed opening Xlib display");
    return display;
}

XDisplay::XDisplay(Display* display)
    : m_display(requireConnection(display))
    , m_notifier(new QSocketNotifier(ConnectionNumber(display), QSocketNotifier::Read, this))
    , m_dispatchEntry(m_listeners.end())
{
    connect(m_notifier, SIGNAL(activated(int)), this, SLOT(displayReadyRead()));
}

XDisplay::~XDisplay()
{
    m_notifier->setEnabled(false);
    XCloseDisplay(m_display);
}

void XDisplay::deref()
{
    if (--m_refCount == 0)
        deleteLater();
}

XAtom XDisplay::getAtom(const char* name) const
{
    return XInternAtom(m_display, name, True);
}

void XDisplay::addListener(int type, XEventListener* listener)
{
    m_listeners[type].push_back(listener);
}

void XDisplay::removeListener(int type, XEventListener* listener)
{
    const auto entry = m_listeners.find(type);
    if (entry == m_listeners.end())
        return;
    const auto registration = std::find(entry->begin(), entry->end(), listener);
    if (registration == entry->end())
        return;
    // The dispatch in progress would call it next: skip it.
    if (m_dispatchEntry == entry && m_nextListener == registration)
        ++m_nextListener;
    entry->erase(registration);
}

void XDisplay::processQueuedEvents()
{
    while (XEventsQueued(m_display, QueuedAlready) > 0) {
        XEvent event;
        XNextEvent(m_display, &event);
        dispatch(&event);
    }
}

void XDisplay::displayReadyRead()
{
    processQueuedEvents();
    if (XEventsQueued(m_display, QueuedAfterReading) > 0)
        processQueuedEvents();
}

void XDisplay::dispatch(XEvent* event)
{
    m_dispatchEntry = m_listeners.find(event->type);
    if (m_dispatchEntry == m_listeners.end())
        return;
    const auto entry = m_dispatchEntry;
    auto listener = entry->begin();
    while (listener != entry->end()) {
        m_nextListener = std::next(listener);
        (*listener)->xevent(event);
        listener = m_nextListener;
    }
}

} // namespace Zendra::Xlib
