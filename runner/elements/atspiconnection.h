#pragma once

#include <memory>

#include <QByteArray>
#include <QDeadlineTimer>
#include <QString>
#include <QVariant>

#include <protocol/dbusconnection.h>

namespace Zendra::Runner
{

class WindowProbe;

/// An object on the accessibility bus: an application's unique name, and the path of one of its elements.
struct AccessibleRef {
    QByteArray application;
    QByteArray path;

    bool isNull() const { return path.isEmpty(); }
    bool operator==(const AccessibleRef& other) const
    {
        return application == other.application && path == other.path;
    }
};

inline uint qHash(const AccessibleRef& ref, uint seed = 0)
{
    return ::qHash(ref.path, ::qHash(ref.application, seed));
}

/// A connection to the accessibility bus, on which applications describe what they show (AT-SPI).
///
/// Any number of calls can be sent before the first reply is taken.
class AtspiConnection
{
public:
    /// `display` is that of the applications; `process` one of them, or 0. `interruption` is a file that is
    /// readable when waiting should end. Throws a Failure that says what is missing.
    AtspiConnection(const WindowProbe& display, qint64 process, int interruption);

    /// The root of the registry, whose children are the applications.
    static AccessibleRef registryRoot();

    /// Returns a serial number for take(); 0 when the object cannot be called.
    unsigned int send(const AccessibleRef& object, const char* interface, const char* member,
        const QVariantList& arguments = {});
    /// The reply, or an error; invalid when none has come in time.
    DBus::Message take(unsigned int serial, const QDeadlineTimer& deadline);
    void cancel(unsigned int serial) { m_connection->cancel(serial); }

    /// Asks all applications to send their events, so that DBus::Connection::received() is emitted for them.
    void requestEvents();
    DBus::Connection& connection() { return *m_connection; }

private:
    std::unique_ptr<DBus::Connection> m_connection;
    bool m_hasRequestedEvents = false;
};

} // namespace Zendra::Runner
