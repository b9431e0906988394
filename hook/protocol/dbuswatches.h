#pragma once

#include <functional>
#include <memory>
#include <vector>

#include <dbus/dbus.h>

#include <QSocketNotifier>

namespace Zendra::DBus
{

/// The watches of a DBusConnection or DBusServer, in the event loop of the thread that uses it.
///
/// DBusTimeout is not needed: calls are sent without a timeout.
class Watches
{
public:
    struct Events {
        std::function<void()> handled; ///< libdbus has handled a watch for the event loop
        std::function<void()> resumed; ///< libdbus reads again; may be empty
    };
    explicit Watches(Events events);
    ~Watches();

    void attach(DBusConnection* connection);
    void attach(DBusServer* server);

    /// Makes the socket notifiers that are missing. There is no event loop before the application object is
    /// made.
    void update();
    /// Waits, without an event loop, until a watch is ready or `other` is readable, and handles the ready
    /// ones.
    void poll(int timeout, int other = -1);
    /// `false`: the event loop handles none until this is called again.
    void setEnabled(bool isEnabled);
    /// `false` when libdbus has received as much as its limits allow.
    bool isReading() const;

private:
    Q_DISABLE_COPY(Watches)

    struct DeleteLater {
        void operator()(QSocketNotifier* notifier) const;
    };
    struct Entry {
        DBusWatch* watch;
        std::unique_ptr<QSocketNotifier, DeleteLater> notifier;
    };

    static dbus_bool_t add(DBusWatch* watch, void* self);
    static void remove(DBusWatch* watch, void* self);
    static void toggle(DBusWatch* watch, void* self);
    bool has(const DBusWatch* watch) const;

    const Events m_events;
    std::vector<Entry> m_entries;
    bool m_isEnabled = true;
};

} // namespace Zendra::DBus
