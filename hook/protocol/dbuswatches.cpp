#include "dbuswatches.h"

#include <algorithm>
#include <utility>

#include <poll.h>

#include <QAbstractEventDispatcher>

namespace Zendra::DBus
{

namespace
{

bool isRead(DBusWatch* watch)
{
    return (dbus_watch_get_flags(watch) & DBUS_WATCH_READABLE) != 0;
}

unsigned int toFlags(short events)
{
    constexpr struct {
        short event;
        unsigned int flag;
    } rows[] = {{POLLIN, DBUS_WATCH_READABLE}, {POLLOUT, DBUS_WATCH_WRITABLE}, {POLLERR, DBUS_WATCH_ERROR},
        {POLLHUP, DBUS_WATCH_HANGUP}};
    unsigned int flags = 0;
    for (const auto& row : rows)
        flags |= (events & row.event) != 0 ? row.flag : 0U;
    return flags;
}

} // namespace

/// It may be removed while it is activated.
void Watches::DeleteLater::operator()(QSocketNotifier* notifier) const
{
    notifier->setEnabled(false);
    notifier->disconnect();
    notifier->deleteLater();
}

Watches::Watches(Events events)
    : m_events(std::move(events))
{
}

Watches::~Watches() = default;

void Watches::attach(DBusConnection* connection)
{
    dbus_connection_set_watch_functions(connection, &add, &remove, &toggle, this, nullptr);
}

void Watches::attach(DBusServer* server)
{
    dbus_server_set_watch_functions(server, &add, &remove, &toggle, this, nullptr);
}

void Watches::update()
{
    if (QAbstractEventDispatcher::instance() == nullptr)
        return;
    for (Entry& entry : m_entries) {
        DBusWatch* watch = entry.watch;
        if (entry.notifier == nullptr) {
            entry.notifier.reset(new QSocketNotifier(dbus_watch_get_unix_fd(watch),
                isRead(watch) ? QSocketNotifier::Read : QSocketNotifier::Write));
            QObject::connect(entry.notifier.get(), &QSocketNotifier::activated, [this, watch] {
                dbus_watch_handle(watch, isRead(watch) ? DBUS_WATCH_READABLE : DBUS_WATCH_WRITABLE);
                m_events.handled();
            });
        }
        const bool isEnabled = m_isEnabled && dbus_watch_get_enabled(watch) != 0;
        if (entry.notifier->isEnabled() != isEnabled)
            entry.notifier->setEnabled(isEnabled);
    }
}

void Watches::poll(int timeout, int other)
{
    std::vector<DBusWatch*> watches;
    std::vector<pollfd> files {{other, POLLIN, 0}};
    for (const Entry& entry : m_entries) {
        if (dbus_watch_get_enabled(entry.watch) == 0)
            continue;
        const short events = isRead(entry.watch) ? POLLIN : POLLOUT;
        watches.push_back(entry.watch);
        files.push_back({dbus_watch_get_unix_fd(entry.watch), events, 0});
    }
    if (::poll(files.data(), files.size(), timeout) <= 0)
        return;
    for (std::size_t index = 0; index < watches.size(); ++index) {
        // Handling one may remove another.
        if (files[index + 1].revents != 0 && has(watches[index]))
            dbus_watch_handle(watches[index], toFlags(files[index + 1].revents));
    }
}

void Watches::setEnabled(bool isEnabled)
{
    m_isEnabled = isEnabled;
    update();
}

bool Watches::isReading() const
{
    return std::any_of(m_entries.begin(), m_entries.end(),
        [](const Entry& entry) { return isRead(entry.watch) && dbus_watch_get_enabled(entry.watch) != 0; });
}

dbus_bool_t Watches::add(DBusWatch* watch, void* self)
{
    auto& watches = *static_cast<Watches*>(self);
    watches.m_entries.push_back({watch, nullptr});
    watches.update();
    return 1;
}

void Watches::remove(DBusWatch* watch, void* self)
{
    auto& entries = static_cast<Watches*>(self)->m_entries;
    entries.erase(std::remove_if(entries.begin(), entries.end(),
                      [watch](const Entry& entry) { return entry.watch == watch; }),
        entries.end());
}

void Watches::toggle(DBusWatch* watch, void* self)
{
    auto& watches = *static_cast<Watches*>(self);
    watches.update();
    if (isRead(watch) && dbus_watch_get_enabled(watch) != 0 && watches.m_events.resumed)
        watches.m_events.resumed();
}

bool Watches::has(const DBusWatch* watch) const
{
    return std::any_of(
        m_entries.begin(), m_entries.end(), [watch](const Entry& entry) { return entry.watch == watch; });
}

} // namespace Zendra::DBus
