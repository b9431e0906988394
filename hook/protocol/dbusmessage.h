#pragma once

#include <memory>

#include <dbus/dbus.h>

#include <QLatin1String>
#include <QMetaType>
#include <QString>
#include <QVariant>

#include "unixfd.h"

namespace Zendra::DBus
{

struct ObjectPath {
    QString path;
};

/// A value of the type "v".
struct Variant {
    QVariant value;
};

/// A DBusMessage, unreferenced when the last copy is dropped.
///
/// Arguments are bool (b), int (i), uint (u), double (d), QString (s), QByteArray (ay), QStringList (as),
/// QVariantMap (a{sv}), ObjectPath (o), UnixFd (h) and Variant (v, only to be sent).
class Message
{
public:
    /// Invalid, as when no reply came.
    Message() = default;
    /// Takes over a reference. Throws std::bad_alloc for null.
    explicit Message(DBusMessage* message);
    static Message call(
        const char* path, const char* interface, const char* member, const QVariantList& arguments);
    static Message signal(
        const char* path, const char* interface, const char* member, const QVariantList& arguments);
    /// Sets the name on a bus that the message is for. Throws std::invalid_argument for one that is not
    /// valid.
    Message to(const char* name) const;
    Message reply(const QVariantList& results = {}) const;
    Message error(const char* name, const QString& text) const;

    bool isValid() const { return m_message != nullptr; }
    bool isCall() const { return type() == DBUS_MESSAGE_TYPE_METHOD_CALL; }
    bool isReply() const { return type() == DBUS_MESSAGE_TYPE_METHOD_RETURN; }
    bool isSignal() const { return type() == DBUS_MESSAGE_TYPE_SIGNAL; }
    QLatin1String path() const { return QLatin1String(dbus_message_get_path(get())); }
    QLatin1String interface() const { return QLatin1String(dbus_message_get_interface(get())); }
    QLatin1String member() const { return QLatin1String(dbus_message_get_member(get())); }
    QLatin1String signature() const { return QLatin1String(dbus_message_get_signature(get())); }
    /// Converted at each call. Types that are not listed above, and containers within a map, become invalid
    /// values.
    QVariantList arguments() const;
    QLatin1String errorName() const { return QLatin1String(dbus_message_get_error_name(get())); }
    QString errorText() const;
    bool wantsReply() const { return dbus_message_get_no_reply(get()) == 0; }

    DBusMessage* get() const { return m_message.get(); }

private:
    int type() const { return isValid() ? dbus_message_get_type(get()) : DBUS_MESSAGE_TYPE_INVALID; }
    Message with(const QVariantList& arguments) const;

    std::shared_ptr<DBusMessage> m_message;
};

} // namespace Zendra::DBus

Q_DECLARE_METATYPE(Zendra::DBus::ObjectPath)
Q_DECLARE_METATYPE(Zendra::DBus::UnixFd)
Q_DECLARE_METATYPE(Zendra::DBus::Variant)
