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

/// Returns `display`. Throws std::runtime_error for null.
Display* requireConnection(Display* display);

/// An X connection that the plug-in opened itself, shared by reference count.
///
/// Watches the connection's socket and dispatches each event to the listeners for its type. Used only on the
/// thread that created it, which must run a Qt event loop.
class XDisplay : public QObject
{
    Q_OBJECT

public:
    /// Takes ownership of the connection. Throws for null. The count starts at 0; the creator calls ref().
    explicit XDisplay(Display* display);

    void ref() { ++m_refCount; }
    /// Drops a reference. The last one schedules deferred deletion, which closes the connection.
    void deref();

    Display* display() const { return m_display; }
    /// The existing atom with that name, or None; never creates one.
    XAtom getAtom(const char* name) const;

    /// Appends a registration; a listener that is registered twice is called twice.
    void addListener(int type, XEventListener* listener);
    /// Removes the earliest registration of `listener`. Allowed during dispatch.
    void removeListener(int type, XEventListener* listener);

    /// Dispatches events that Xlib has queued already; does not read from the socket.
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
    Listeners::iterator m_nextListener;             ///< removeListener() may advance it during dispatch
};

/// Holds one reference on a display.
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
