#include "journal.h"

#include <QDataStream>
#include <QIODevice>

namespace Zendra::Keyboard
{

namespace
{

constexpr quint32 formatVersion = 1;
constexpr quint32 mostKeys = 256;
constexpr quint32 mostKeysyms = 4 * 64; // per key

QDataStream& operator<<(QDataStream& stream, const KeyChanges& changes)
{
    stream << static_cast<quint32>(changes.size());
    for (auto key = changes.begin(); key != changes.end(); ++key) {
        stream << key.key();
        for (const std::uint8_t type : key->types)
            stream << type;
        stream << key->groupInfo << key->width << static_cast<quint32>(key->keysyms.size());
        for (const std::uint32_t keysym : key->keysyms)
            stream << keysym;
    }
    return stream;
}

/// Reads a count. One that is too large becomes 0 and sets the stream's status.
quint32 readCount(QDataStream& stream, quint32 most)
{
    quint32 count = 0;
    stream >> count;
    if (count > most)
        stream.setStatus(QDataStream::ReadCorruptData);
    return stream.status() == QDataStream::Ok ? count : 0;
}

QDataStream& operator>>(QDataStream& stream, KeyChanges& changes)
{
    for (quint32 left = readCount(stream, mostKeys); left > 0; --left) {
        xcb_keycode_t code = 0;
        KeySymbols key;
        stream >> code;
        for (std::uint8_t& type : key.types)
            stream >> type;
        stream >> key.groupInfo >> key.width;
        key.keysyms.resize(readCount(stream, mostKeysyms));
        for (std::uint32_t& keysym : key.keysyms)
            stream >> keysym;
        changes.insert(code, key);
    }
    return stream;
}

} // namespace

QByteArray Journal::toBytes() const
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream << formatVersion << locked << lockedGroup << static_cast<quint32>(pressed.size());
    for (const xcb_keycode_t code : pressed)
        stream << code;
    stream << before << bound;
    return bytes;
}

std::optional<Journal> Journal::fromBytes(const QByteArray& bytes)
{
    QDataStream stream(bytes);
    Journal journal;
    quint32 version = 0;
    stream >> version;
    if (version != formatVersion)
        return std::nullopt;
    stream >> journal.locked >> journal.lockedGroup;
    journal.pressed.resize(readCount(stream, mostKeys));
    for (xcb_keycode_t& code : journal.pressed)
        stream >> code;
    stream >> journal.before >> journal.bound;
    const bool isWhole = stream.status() == QDataStream::Ok && stream.atEnd();
    return isWhole && journal.before.keys() == journal.bound.keys() ? std::optional<Journal>(journal)
                                                                    : std::nullopt;
}

} // namespace Zendra::Keyboard
