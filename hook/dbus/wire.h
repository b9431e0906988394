#pragma once

#include <stdexcept>
#include <vector>

#include <QByteArray>
#include <QVariant>

#include "filedescriptor.h"

namespace Zendra::DBus
{

// The marshalling of values in D-Bus messages
// (https://dbus.freedesktop.org/doc, "Marshaling (Wire Format)"). message.h lists the
// types.

/// Another program sent what is no D-Bus.
class Malformed : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

constexpr int largestArray = 64 << 20;    ///< bytes
constexpr int largestMessage = 128 << 20; ///< bytes

/// This machine's byte order, as a message begins.
constexpr char nativeOrder = Q_BYTE_ORDER == Q_LITTLE_ENDIAN ? 'l' : 'B';

/// Appends values to a message. Each is aligned to its size, counted from where the message begins.
class Writer
{
public:
    explicit Writer(QByteArray& bytes)
        : m_bytes(bytes)
    {
    }

    void align(int size);
    void byte(char value) { m_bytes.append(value); }
    template <typename Number>
    void number(Number value)
    {
        align(sizeof value);
        m_bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
    }
    /// A text (s) or path (o), up to its first null character.
    void text(QByteArray utf8);
    void signature(const QByteArray& types);
    /// A value of any type that has a place in a message; throws std::invalid_argument for another.
    void value(const QVariant& value);
    /// Writes zero where a 32-bit length belongs; returns the place for the next.
    int beginLength();
    /// Notes how much has come since `begin`, which is where the content starts.
    void endLength(int place, int begin);
    int size() const { return m_bytes.size(); }

    /// What the values refer to.
    std::vector<FileDescriptor> descriptors;

private:
    Q_DISABLE_COPY(Writer)

    void variant(const QVariant& value);
    void map(const QVariantMap& map);

    QByteArray& m_bytes;
};

/// The type of a value in D-Bus' notation.
QByteArray typeOf(const QVariant& value);

/// Takes values out of a message that may be anything. All functions throw Malformed.
class Reader
{
public:
    /// `bytes` has a whole message, which must live longer.
    Reader(const QByteArray& bytes, int position, char byteOrder, std::vector<FileDescriptor> descriptors);

    int position() const { return m_position; }
    bool isAtEnd() const { return m_position == m_bytes.size(); }
    void align(int size);
    char byte() { return *take(1); }
    template <typename Number>
    Number number();
    QByteArray text();      ///< shares the message's memory
    QByteArray signature(); ///< the same
    /// The values of the types in a signature.
    QVariantList values(const QByteArray& types);

private:
    Q_DISABLE_COPY(Reader)

    const char* take(quint32 size);
    QByteArray string(quint32 length);
    QVariant value(const char*& type, int depth);
    QVariant array(const char*& type, int depth);
    QVariantList structure(const char*& type, int depth);

    const QByteArray& m_bytes;
    int m_position;
    bool m_swaps;
    std::vector<FileDescriptor> m_descriptors;
    int m_count = 0; ///< of the values read
};

} // namespace Zendra::DBus
