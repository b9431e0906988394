#pragma once

#include <memory>
#include <vector>

#include <QByteArray>
#include <QLatin1String>
#include <QMetaType>
#include <QString>
#include <QVariant>

#include "filedescriptor.h"

namespace Zendra::DBus
{

/// The path of an object, which is no mere text.
struct ObjectPath {
    QString path;
};

/// A value of the type "v".
struct Variant {
    QVariant value;
};

/// A message of the D-Bus protocol (https://dbus.freedesktop.org/doc, version 1).
///
/// Its values are bool (b), int (i), uint (u), double (d), QString (s), QByteArray (ay), QStringList (as),
/// QVariantMap (a{sv}), ObjectPath (o), FileDescriptor (h) and Variant (v). Of what another program sends,
/// any other type comes as the number or list that is nearest to it.
class Message
{
public:
    enum class Type { None, Call, Reply, Error, Signal };

    /// Of no type, as when no answer came.
    Message() = default;
    static Message call(
        const char* path, const char* interface, const char* member, const QVariantList& arguments);
    static Message signal(
        const char* path, const char* interface, const char* member, const QVariantList& arguments);
    Message reply(const QVariantList& results = {}) const;
    Message error(const QString& name, const QString& text) const;

    Type type() const { return m_content == nullptr ? Type::None : m_content->type; }
    QLatin1String path() const { return QLatin1String(m_content->path); }
    QLatin1String interface() const { return QLatin1String(m_content->interface); } ///< may be empty
    QLatin1String member() const { return QLatin1String(m_content->member); }
    /// The types of the arguments.
    QLatin1String signature() const { return QLatin1String(m_content->signature); }
    const QVariantList& arguments() const { return m_content->arguments; } ///< of one that was received
    QLatin1String errorName() const { return QLatin1String(m_content->errorName); }
    QString errorText() const { return arguments().value(0).toString(); } ///< may be empty
    bool wantsReply() const { return type() == Type::Call && !m_content->forgoesReply; }
    void forgoReply() { m_content->forgoesReply = true; }
    unsigned int serial() const { return m_content->serial; }
    unsigned int replySerial() const { return m_content->replySerial; } ///< the serial of what this answers

    // What connections need.

    const std::vector<FileDescriptor>& descriptors() const { return m_content->descriptors; }
    /// Gives the message its number and returns all that comes before its body.
    QByteArray makeHeader(unsigned int serial);
    const QByteArray& body() const { return m_content->bytes; }
    const QByteArray& tail() const { return m_content->tail; } ///< of the body
    /// The size of a message that begins with `bytes`, or 0 while that cannot be told. Throws Malformed.
    static int size(const QByteArray& bytes, int begin);
    /// A message that was received. `descriptors` begins with its own, which are taken out. Throws Malformed,
    /// also where the message does not hold what its signature says.
    static Message parse(const QByteArray& bytes, std::vector<FileDescriptor>& descriptors);

private:
    struct Content {
        Type type = Type::None;
        bool forgoesReply = false;
        quint32 serial = 0;
        quint32 replySerial = 0;
        QByteArray path;
        QByteArray interface;
        QByteArray member;
        QByteArray errorName;
        QByteArray signature;
        QVariantList arguments;
        /// The body of a message that is to be sent; all of one that was received, whose texts lie there.
        QByteArray bytes;
        QByteArray tail; ///< of a body that is to be sent
        std::vector<FileDescriptor> descriptors;
    };

    static Message make(Type type, const QVariantList& arguments);

    std::shared_ptr<Content> m_content;
};

} // namespace Zendra::DBus

Q_DECLARE_METATYPE(Zendra::DBus::ObjectPath)
Q_DECLARE_METATYPE(Zendra::DBus::FileDescriptor)
Q_DECLARE_METATYPE(Zendra::DBus::Variant)
