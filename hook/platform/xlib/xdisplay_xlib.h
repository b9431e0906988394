#pragma once

#include <QMap>
#include <QObject>

#include <zendra/flist.h>

#include "types_x11.h"

class QSocketNotifier;

namespace Zendra::Xlib
{

/// Receives the events of one X event type; see XDisplay::addListener().
class XEventListener
{
public:
    /// `event` is valid during the call only. The call must not dispatch events itself.
    virtual void xevent(XEvent* event) = 0;

protected:
    ~XEventListener() = default;
};

/// An X connection that the plug-in opened itself, shared by reference count.
///
/// Nobody else reads the connection: the object watches its socket and hands each event to the listeners that
/// are registered for the event's type. All use is on the thread that made it, which runs a Qt event loop.
class XDisplay : public QObject
{
    Q_OBJECT

public:
    /// Takes the connection over; the count starts at 0, so the creator calls ref() at once.
    explicit XDisplay(Display* display);

    void ref() { ++m_refCount; }
    /// Gives a reference back. With the last one the object, and then the connection, goes away by deferred
    /// deletion.
    void deref();

    Display* display() const { return m_display; }
    /// The atom with that name, or None where the server does not know it; atoms are never created.
    XAtom getAtom(const char* name) const;

    /// Appends a registration; a listener that is registered twice is called twice.
    void addListener(int type, XEventListener* listener);
    /// Takes the earliest registration of `listener` back. Allowed while events are dispatched.
    void removeListener(int type, XEventListener* listener);

    /// Dispatches the events that Xlib has already queued; reads nothing and never blocks.
    void processQueuedEvents();

public Q_SLOTS:
    void displayReadyRead();

protected:
    ~XDisplay() override;

private:
    Q_DISABLE_COPY(XDisplay)

    using Listeners = FList<XEventListener*>;

    void dispatch(XEvent* event);

    int m_refCount = 0;
    Display* m_display;
    QSocketNotifier* m_notifier;
    QMap<int, Listeners> m_listeners;
    QMap<int, Listeners>::iterator m_dispatchEntry; ///< stale between dispatches
    Listeners::iterator m_nextListener;             ///< read back after each call of a listener
};

/// One reference on a display, taken and given back with the object.
class XDisplayRef
{
public:
    explicit XDisplayRef(XDisplay* display)
        : m_display(display)
    {
        m_display->ref();
    }
    ~XDisplayRef() { m_display->deref(); }

    XDisplay* get() const { return m_display; }
    XDisplay* operator->() const { return m_display; }

private:
    Q_DISABLE_COPY(XDisplayRef)

    XDisplay* m_display;
};

} // namespace Zendra::Xlib
